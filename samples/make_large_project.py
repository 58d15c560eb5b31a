#!/usr/bin/env python3
"""Makes a large, valid project file: a mesh of many small blocks between an ordinary head and preview.

    make_large_project.py OUT.tarvex [MEBIBYTES]        (default 256; one to 2047)

A file manager's tip must not depend on this size: only the head and the tail are read.
"""

import sys

HEAD = """\
$begin 'TarvexProject'
\tProduct='ZEPH'
\t$begin 'Desktop'
\t\tVersion(2013, 0)
\t$end 'Desktop'
\t$begin 'Mesh'
"""
TAIL = """\
\t$end 'Mesh'
$end 'TarvexProject'
$begin 'AllReferencedFilesForProject'
$end 'AllReferencedFilesForProject'
$begin 'ProjectPreview'
\t$begin 'DesignInfo'
\t\tDesignName='Airframe'
\t\tNotes='overnight run'
\t\tIsSolved=true
\t\tFactory='HF'
\t\t'Nominal Setups'['Setup1']
\t$end 'DesignInfo'
$end 'ProjectPreview'
"""
NODES = ''.join(f'\t\t\tNode({i:05d}, {0.25 * (i % 97):.4f}, {0.5 * (i % 89):.4f}, 0)\n' for i in range(8192))


def parts(room):
    """Blocks of nodes, as long as they fit in `room` bytes."""
    number = 0
    while True:
        text = f"\t\t$begin 'Part {number}'\n{NODES}\t\t$end 'Part {number}'\n".encode()
        if len(text) > room:
            return
        yield text
        room, number = room - len(text), number + 1


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    size = int(sys.argv[2] if len(sys.argv) == 3 else 256) << 20
    if not 0 < size < 1 << 31:
        sys.exit('the size must be 1 to 2047 MiB')
    with open(sys.argv[1], 'wb') as out:
        written = out.write(HEAD.encode())
        for text in parts(size - len(HEAD) - len(TAIL)):
            written += out.write(text)
        padding = size - written - len(TAIL)  # a comment fills the file up to the size asked for
        out.write(b'!' + b'-' * (padding - 2) + b'\n' if padding > 1 else b'\n' * padding)
        out.write(TAIL.encode())


if __name__ == '__main__':
    main()
