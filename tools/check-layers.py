#!/usr/bin/env python3
"""Every include points down the layers: primitives and base/core at the bottom, side by
side and neither including the other, then engine on both, then the plug-in, with the
tools on top. A layer that reached up would tie the lower library to code it must not
need, and would break the libraries built alone.
Usage: check-layers.py [SOURCE_DIR]; exit status 1, with each offending line, on a breach."""
import re, sys
from pathlib import Path

TOP = Path(sys.argv[1] if len(sys.argv) > 1 else Path(__file__).resolve().parents[1])
# Each layer's folder, and the folders above it that it must not include from.
ABOVE = {
    'primitives': ('base/', 'engine/', 'transient-detector/', 'tools/'),
    'base': ('primitives/', 'engine/', 'transient-detector/', 'tools/'),
    'engine': ('transient-detector/', 'tools/'),
    'transient-detector': ('tools/',),
}
INCLUDE = re.compile(r'^\s*#\s*include\s*["<]([^">]+)[">]', re.M)

breaches = []
for layer, above in ABOVE.items():
    for source in sorted((TOP / layer).rglob('*')):
        if source.suffix not in ('.h', '.cpp', '.inc', '.in'):
            continue
        for number, line in enumerate(source.read_text(errors='replace').splitlines(), 1):
            m = INCLUDE.match(line)
            if m and (m.group(1).startswith(above) or m.group(1).startswith('../')):
                breaches.append('%s:%d: %s includes upward: %s' % (source.relative_to(TOP), number, layer,
                                                                     m.group(1)))
print('\n'.join(breaches) if breaches else 'every include points down')
sys.exit(1 if breaches else 0)
