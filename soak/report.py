#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What came of ./dev soak, and whether anything grew: soak/report.py RUN [--figure SVG]"""
import argparse
import json
import sys

# The first fifth is for caches and pools to fill.
WARM_UP = 0.2
# Least number of cycles that growth can be told from.
LEAST = 60
# What is held when nobody uses the service, and by how much the least of it may grow from the first fifth behind
# the warm-up to the last. An allocator that finds a better place for something takes a few pages.
HELD = [
    ('resident_kib', 'resident memory (KiB)', 128),
    ('anonymous_kib', 'of that neither code nor files (KiB)', 128),
    ('descriptors', 'descriptors', 0),
    ('threads', 'threads', 0),
    ('binder_nodes', 'binder objects others refer to', 0),
    ('binder_references', 'binder references to others', 0),
]


def judge(run):
    """@return rows (what, first, last, highest, allowed growth, whether it is fine) and failures."""
    failures = [f"cycle {line['cycle']}: {line['failure']}" for line in run if 'failure' in line]
    if not run or not run[-1]['reports']:
        return [], failures + ['nothing was ranged']
    if any(line['kernel_sessions'] for line in run):
        failures.append('sessions are left in the kernel')
    rows = []
    if len(run) < LEAST:
        return rows, failures
    judged = run[int(len(run) * WARM_UP):]
    fifth = max(1, len(judged) // 5)
    for key, what, allowed in HELD:
        first = min(line[key] for line in judged[:fifth])
        last = min(line[key] for line in judged[-fifth:])
        rows.append((what, first, last, max(line[key] for line in judged), allowed, last - first <= allowed))
        if last - first > allowed:
            failures.append(f'{what}: from {first} to {last}')
    return rows, failures


def print_table(run, rows):
    """As the documents have it."""
    done = run[-1]
    print('| what | how often |\n|---|---|')
    for key, what in [
            ('cycles', 'opened, ranged and closed'), ('countries', 'countries'), ('sessions', 'sessions'),
            ('faults', 'faults armed'), ('lost_clients', 'clients killed'),
            ('reopened', 'only closing and opening again helped'), ('reports', 'reports that the clients got'),
            ('given', 'reports and stops that the radio delivered'),
            ('malformed', 'of these malformed on purpose, and dropped'),
            ('unread', 'of these of sessions that were cut off, in a socket that was closed or overran'),
            ('refused', 'reports that no socket had room for'), ('overflows', 'overflows told')]:
        print(f'| {what} | {done[key]:,} |')
    if not rows:
        print(f'\nToo short to tell growth: {len(run)} of {LEAST} cycles.')
        return
    print('\n| held by the service at rest | least, after the warm-up | least, at the end | most | may grow by |')
    print('|---|---|---|---|---|')
    for what, first, last, most, allowed, _ in rows:
        print(f'| {what} | {first:,} | {last:,} | {most:,} | {allowed} |')


# ---- The figure ----

WIDTH, LEFT, RIGHT, HEIGHT, GAP = 760, 60, 740, 84, 44
PANELS = [
    ('resident memory, MiB', [('resident_kib', 1024, '#1f77b4'), ('anonymous_kib', 1024, '#7fb3d8')]),
    ('descriptors', [('descriptors', 1, '#1f77b4')]),
    ('binder: objects (dark), references (light)', [
        ('binder_nodes', 1, '#1f77b4'), ('binder_references', 1, '#7fb3d8')]),
    ('kernel sessions at rest', [('kernel_sessions', 1, '#1f77b4')]),
    ('reports, thousands', [('reports', 1000, '#1f77b4')]),
]


def panel(run, top, title, lines):
    # From zero: what is flat looks flat.
    most = max(max(line[key] for line in run) / unit for key, unit, _ in lines)
    high = max(1, most * 1.15)
    out = [f'<text x="{LEFT}" y="{top - 8}" class="title">{title}</text>',
           f'<path d="M{LEFT} {top}V{top + HEIGHT}H{RIGHT}" class="axis"/>',
           f'<text x="{LEFT - 6}" y="{top + HEIGHT}" class="end">0</text>',
           f'<text x="{LEFT - 6}" y="{top + HEIGHT * (1 - most / high) + 4:.1f}" class="end">{most:,.4g}</text>']
    step = max(1, len(run) // 300)
    for key, unit, colour in lines:
        points = []
        for i in range(0, len(run), step):
            value = max(line[key] for line in run[i:i + step]) / unit
            x = LEFT + (RIGHT - LEFT) * i / max(1, len(run) - 1)
            points.append(f'{x:.1f},{top + HEIGHT * (1 - value / high):.1f}')
        out.append(f'<polyline points="{" ".join(points)}" stroke="{colour}"/>')
    return out


def figure(run, path):
    height = 30 + len(PANELS) * (HEIGHT + GAP) + 14
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" font-family="sans-serif" '
           'font-size="12"><title>What the service holds while it is used for a long time</title>',
           '<style>polyline{fill:none;stroke-width:1.5}.axis{fill:none;stroke:#888}text{fill:#333}'
           '.end{text-anchor:end}.title{font-weight:bold}</style>',
           f'<rect width="{WIDTH}" height="{height}" fill="#fff"/>']
    for i, (title, lines) in enumerate(PANELS):
        out += panel(run, 30 + i * (HEIGHT + GAP), title, lines)
    out.append(f'<text x="{RIGHT}" y="{height - 26}" class="end">cycles of open, country, sessions and close: '
               f'{len(run):,}</text></svg>')
    with open(path, 'w', encoding='utf-8') as file:
        file.write('\n'.join(out) + '\n')


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument('run')
    parser.add_argument('--figure')
    arguments = parser.parse_args()
    with open(arguments.run, encoding='utf-8') as file:
        run = [json.loads(line) for line in file if line.startswith('{')]
    rows, failures = judge(run)
    if run:
        print_table(run, rows)
        if arguments.figure:
            figure(run, arguments.figure)
    for failure in failures:
        print(f'error: {failure}', file=sys.stderr)
    return 1 if failures else 0


if __name__ == '__main__':
    sys.exit(main())
