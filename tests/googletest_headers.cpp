// Nothing: the target whose headers are compiled in advance needs a source.
