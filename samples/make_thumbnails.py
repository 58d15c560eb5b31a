#!/usr/bin/env python3
"""Draws the pictures of the sample projects and puts them into the project files.

The projects are written by hand; this script replaces nothing but the text between the quotes of their
"Thumbnail64" (base64) or "Thumbnail" (hexadecimal digits) item. Running it again gives the same files.
With --pictures DIR it also leaves the pictures themselves in DIR.

Needs Python 3 and, for the JPEG picture, `cjpeg` (Debian package libjpeg-turbo-progs).
"""

import argparse
import base64
import math
import pathlib
import re
import struct
import subprocess
import zlib

HERE = pathlib.Path(__file__).parent


class Canvas:
    """Pixels of (red, green, blue, alpha), each 0..1; shapes are blended with smooth edges."""

    def __init__(self, width, height, background=(0, 0, 0, 0)):
        self.width, self.height = width, height
        self.pixels = [background] * (width * height)

    def blend(self, x, y, colour, cover):
        if not (0 <= x < self.width and 0 <= y < self.height) or cover <= 0:
            return
        red, green, blue, alpha = colour if len(colour) == 4 else (*colour, 1)
        alpha *= min(cover, 1)
        below = self.pixels[y * self.width + x]
        total = alpha + below[3] * (1 - alpha)
        if total == 0:
            return
        mix = lambda top, bottom: (top * alpha + bottom * below[3] * (1 - alpha)) / total
        self.pixels[y * self.width + x] = (mix(red, below[0]), mix(green, below[1]), mix(blue, below[2]), total)

    def shade(self, colour_at):
        """Colours every pixel by a function of its position, or leaves it where that gives None."""
        for y in range(self.height):
            for x in range(self.width):
                colour = colour_at(x + 0.5, y + 0.5)
                if colour:
                    self.blend(x, y, colour, 1)

    def line(self, points, width, colour):
        for (x1, y1), (x2, y2) in zip(points, points[1:]):
            dx, dy = x2 - x1, y2 - y1
            length2 = dx * dx + dy * dy or 1
            for y in range(int(min(y1, y2) - width), int(max(y1, y2) + width) + 2):
                for x in range(int(min(x1, x2) - width), int(max(x1, x2) + width) + 2):
                    t = min(1, max(0, ((x + 0.5 - x1) * dx + (y + 0.5 - y1) * dy) / length2))
                    away = math.hypot(x + 0.5 - x1 - t * dx, y + 0.5 - y1 - t * dy)
                    self.blend(x, y, colour, width / 2 + 0.5 - away)

    def polygon(self, points, colour):
        """Fills a convex polygon."""
        area = sum(x1 * y2 - x2 * y1 for (x1, y1), (x2, y2) in zip(points, points[1:] + points[:1]))
        sign = 1 if area > 0 else -1
        edges = []
        for (x1, y1), (x2, y2) in zip(points, points[1:] + points[:1]):
            length = math.hypot(x2 - x1, y2 - y1) or 1
            edges.append((x1, y1, sign * (x2 - x1) / length, sign * (y2 - y1) / length))
        xs, ys = [p[0] for p in points], [p[1] for p in points]
        for y in range(int(min(ys)) - 1, int(max(ys)) + 2):
            for x in range(int(min(xs)) - 1, int(max(xs)) + 2):
                inside = min(ex * (y + 0.5 - y1) - ey * (x + 0.5 - x1) for x1, y1, ex, ey in edges)
                self.blend(x, y, colour, inside + 0.5)

    def rectangle(self, left, top, right, bottom, colour):
        self.polygon([(left, top), (right, top), (right, bottom), (left, bottom)], colour)

    def bytes(self, channels):
        return [round(255 * min(1, max(0, value))) for pixel in self.pixels for value in pixel[:channels]]


def rainbow(value):
    """From blue over green and yellow to red."""
    stops = [(0.10, 0.20, 0.75), (0.05, 0.65, 0.85), (0.20, 0.80, 0.35), (0.98, 0.85, 0.20), (0.92, 0.20, 0.12)]
    place = min(max(value, 0), 0.9999) * (len(stops) - 1)
    low, part = int(place), place - int(place)
    return tuple(a + (b - a) * part for a, b in zip(stops[low], stops[low + 1]))


def png(canvas, channels):
    """`channels` 3: opaque, 4: with alpha. Each row takes the filter that leaves the smallest numbers."""
    data, row = canvas.bytes(channels), canvas.width * channels
    lines, above = [], [0] * row
    for y in range(canvas.height):
        line = data[y * row:(y + 1) * row]
        left = [0] * channels + line[:-channels]
        choices = [line, [a - b for a, b in zip(line, left)], [a - b for a, b in zip(line, above)],
                   [a - (b + c) // 2 for a, b, c in zip(line, left, above)]]
        cost = lambda values: sum(min(v & 255, 256 - (v & 255)) for v in values)
        best = min(range(len(choices)), key=lambda i: cost(choices[i]))
        lines.append(bytes([best] + [v & 255 for v in choices[best]]))
        above = line
    chunk = lambda kind, body: (struct.pack('>I', len(body)) + kind + body
                                + struct.pack('>I', zlib.crc32(kind + body)))
    header = struct.pack('>IIBBBBB', canvas.width, canvas.height, 8, 2 if channels == 3 else 6, 0, 0, 0)
    return (b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', header) + chunk(b'IDAT', zlib.compress(b''.join(lines), 9))
            + chunk(b'IEND', b''))


def jpeg(canvas):
    ppm = b'P6\n%d %d\n255\n' % (canvas.width, canvas.height) + bytes(canvas.bytes(3))
    return subprocess.run(['cjpeg', '-quality', '80', '-optimize'], input=ppm, stdout=subprocess.PIPE, check=True).stdout


def array_pattern():
    """Polar gain diagram of a steered eight-element array; transparent outside."""
    canvas = Canvas(256, 192)
    cx, cy, radius, floor = 128, 168, 150, 36

    def gain(theta):  # 0 at the floor, 1 at the peak
        psi = math.pi * (math.sin(theta) - math.sin(math.radians(18)))
        factor = 1 if abs(math.sin(psi / 2)) < 1e-9 else abs(math.sin(4 * psi) / (8 * math.sin(psi / 2)))
        level = 20 * math.log10(max(factor * math.cos(theta), 1e-6))
        return max(0, (level + floor) / floor)

    grid = (0.55, 0.60, 0.68, 0.55)
    for ring in (0.25, 0.5, 0.75, 1):
        arc = [math.radians(a) for a in range(-90, 91, 3)]
        canvas.line([(cx + ring * radius * math.sin(a), cy - ring * radius * math.cos(a)) for a in arc], 0.8, grid)
    for spoke in range(-90, 91, 30):
        a = math.radians(spoke)
        canvas.line([(cx, cy), (cx + radius * math.sin(a), cy - radius * math.cos(a))], 0.8, grid)

    def inside(x, y):
        away, theta = math.hypot(x - cx, y - cy) / radius, math.atan2(x - cx, cy - y)
        if y < cy and away < gain(theta):
            return (*rainbow(away), 0.85)
        return None

    canvas.shade(inside)
    outline = [math.radians(a / 4) for a in range(-360, 361)]
    canvas.line([(cx + gain(a) * radius * math.sin(a), cy - gain(a) * radius * math.cos(a)) for a in outline], 1.2,
                (1, 1, 1, 0.9))
    for element in range(8):
        canvas.rectangle(cx - 62 + element * 16, 172, cx - 50 + element * 16, 178, (0.95, 0.62, 0.25))
    return canvas


def horn_mesh():
    """A pyramidal horn on its waveguide: meshed faces, coloured by the field on them."""
    canvas = Canvas(256, 192, (0, 0, 0, 1))
    canvas.shade(lambda x, y: (0.93 - y / 700, 0.95 - y / 800, 0.98 - y / 1000))
    turn, tilt = math.radians(-34), math.radians(22)

    def project(x, y, z):
        x, z = x * math.cos(turn) - z * math.sin(turn), x * math.sin(turn) + z * math.cos(turn)
        y, z = y * math.cos(tilt) - z * math.sin(tilt), y * math.sin(tilt) + z * math.cos(tilt)
        scale = 62 / (4.6 - z) * 4
        return 124 + x * scale, 98 - y * scale, z

    def section(t):  # half width and half height of the tube at 0..1 from the back to the aperture
        flare = max(0, (t - 0.4) / 0.6)
        return 0.34 + 0.66 * flare, 0.20 + 0.52 * flare

    faces, steps, parts = [], 12, 6
    for i in range(steps):
        for side in range(4):
            for k in range(parts):
                corners = []
                for t, u in ((i, k), (i + 1, k), (i + 1, k + 1), (i, k + 1)):
                    t, u = t / steps, 2 * u / parts - 1
                    wide, high = section(t)
                    x, y = [(u * wide, high), (wide, -u * high), (-u * wide, -high), (-wide, u * high)][side]
                    corners.append((x, y, 2.6 * t - 1.3))
                middle = [sum(c[j] for c in corners) / 4 for j in range(3)]
                field = 0.5 + 0.5 * math.cos(9 * middle[2]) * math.cos(middle[0] * 1.4)
                if side in (1, 3):
                    field *= 0.55
                faces.append((corners, field, (0.78, 1.0, 0.66, 0.88)[side]))
    flat = [([project(*c) for c in corners], field, light) for corners, field, light in faces]
    flat.sort(key=lambda face: sum(p[2] for p in face[0]))
    for points, field, light in flat:
        points = [(x, y) for x, y, _ in points]
        canvas.polygon(points, tuple(light * c for c in rainbow(field)))
        canvas.line(points + points[:1], 0.7, (0.10, 0.12, 0.2, 0.55))
        canvas.line([points[0], points[2]], 0.6, (0.10, 0.12, 0.2, 0.4))
    return canvas


def coupled_line_filter():
    """The board of a coupled-line filter above its measured and simulated transmission."""
    canvas = Canvas(256, 192, (0.07, 0.09, 0.13, 1))
    canvas.rectangle(8, 8, 248, 78, (0.08, 0.36, 0.24))
    copper, edge = (0.90, 0.62, 0.28), (0.98, 0.80, 0.50)
    for i in range(5):
        left, top = 20 + 38 * i, 22 + 8 * i
        canvas.rectangle(left, top, left + 66, top + 5, copper)
        canvas.line([(left, top), (left + 66, top)], 0.8, edge)
    canvas.rectangle(8, 22, 22, 27, copper)
    canvas.rectangle(236, 54, 248, 59, copper)
    for x in (28, 72, 116, 160, 204):
        for y in (92, 116, 140, 164):
            canvas.line([(x - 20, y), (x + 36, y)], 0.6, (0.35, 0.40, 0.48, 0.6))
        canvas.line([(x, 90), (x, 184)], 0.6, (0.35, 0.40, 0.48, 0.6))

    def curve(order, ripple):
        points = []
        for i in range(0, 241, 2):
            offset = (i - 120) / 44
            loss = 10 * math.log10(1 + ripple * (abs(offset) ** order) ** 2)
            points.append((8 + i, min(182, 94 + 2.1 * loss)))
        return points

    canvas.line(curve(4, 0.5), 1.6, (0.30, 0.75, 1.0))
    canvas.line([(x, 190 - 0.9 * (y - 94) if y < 150 else 100 + 8 * math.sin(x / 5)) for x, y in curve(3, 0.8)], 1.2,
                (1.0, 0.45, 0.30))
    return canvas


def spiral_coil():
    """A square spiral inductor, small enough for hexadecimal digits."""
    canvas = Canvas(64, 48, (0.13, 0.15, 0.22, 1))
    points, left, top, right, bottom = [(4, 44)], 10, 6, 54, 42
    points += [(left, 44), (left, top)]
    while right - left > 8:
        points += [(right, top), (right, bottom), (left + 5, bottom), (left + 5, top + 5)]
        left, top, right, bottom = left + 5, top + 5, right - 5, bottom - 5
    canvas.line(points, 2.4, (0.93, 0.68, 0.32))
    return canvas


def radome():
    """A radome over its ground plane, with the sky mirrored in it."""
    canvas = Canvas(192, 192, (0, 0, 0, 1))
    canvas.shade(lambda x, y: (0.42 + y / 520, 0.62 + y / 640, 0.86 + y / 1500))
    cx, cy, r = 96, 132, 74
    canvas.polygon([(8, 140), (64, 120), (188, 132), (140, 168)], (0.30, 0.33, 0.36))

    def shell(x, y):
        nx, ny = (x - cx) / r, (y - cy) / r
        if nx * nx + ny * ny > 1 or y > cy + 0.16 * r * math.sqrt(max(0, 1 - nx * nx)):
            return None
        nz = math.sqrt(max(0, 1 - nx * nx - ny * ny))
        light = max(0, -0.45 * nx - 0.65 * ny + 0.6 * nz)
        meridian, parallel = math.atan2(nx, nz + 1e-9), math.asin(max(-1, min(1, -ny)))
        seam = abs((meridian * 9 / math.pi) % 1 - 0.5) > 0.46 or abs((parallel * 11 / math.pi) % 1 - 0.5) > 0.46
        shade = (0.28 + 0.62 * light) * (0.80 if seam else 1)
        return shade, shade * 0.99, shade * 0.94

    canvas.shade(shell)
    return canvas


# project file               item           drawing              encoder                    base64 line length
THUMBNAILS = [
    ('array_steering.tarvex',  'Thumbnail64', array_pattern,       lambda c: png(c, 4),       76),
    ('horn_feed.tarvex',       'Thumbnail64', horn_mesh,           jpeg,                      76),
    ('bandpass.tarvex',        'Thumbnail64', coupled_line_filter, lambda c: png(c, 3),       0),
    ('coil.tarvex',            'Thumbnail',   spiral_coil,         lambda c: png(c, 3),       0),
    ('radome_utf8.tarvex',     'Thumbnail64', radome,              lambda c: png(c, 3),       76),
]


def as_text(item, picture, line_length, line_end):
    """A quoted text ends with its line unless a backslash stands there; readers skip the white space."""
    if item == 'Thumbnail':
        return picture.hex()
    text = base64.b64encode(picture).decode()
    if not line_length:
        return text
    pieces = [text[i:i + line_length] for i in range(0, len(text), line_length)]
    return ('\\' + line_end).join(pieces)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument('--pictures', type=pathlib.Path, help='also write the pictures to this folder')
    arguments = parser.parse_args()
    for name, item, draw, encode, line_length in THUMBNAILS:
        picture = encode(draw())
        if arguments.pictures:
            suffix = '.png' if picture.startswith(b'\x89PNG') else '.jpg'
            (arguments.pictures / name).with_suffix(suffix).write_bytes(picture)
        project = (HERE / name).read_bytes().decode()
        line_end = '\r\n' if '\r\n' in project else '\n'
        text = as_text(item, picture, line_length, line_end)
        project, count = re.subn(rf"(\b{item}=')[^']*(')", lambda m: m[1] + text + m[2], project)
        assert count == 1, f'{name}: one item {item} expected, {count} found'
        (HERE / name).write_bytes(project.encode())
        print(f'{name}: {len(picture)} bytes')


if __name__ == '__main__':
    main()
