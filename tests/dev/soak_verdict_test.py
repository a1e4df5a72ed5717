#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What soak/report.py says of runs that are flat, that leak, and that lose something."""
import os
import random
import sys

sys.path.insert(0, os.path.join(os.path.dirname(__file__), '..', '..', 'soak'))
sys.dont_write_bytecode = True
import report  # noqa: E402

FLAT = {'resident_kib': 4500, 'anonymous_kib': 400, 'descriptors': 6, 'threads': 1, 'binder_nodes': 3,
        'binder_references': 2, 'kernel_sessions': 0}


def run_of(cycles, change):
    """What a service holds in each cycle: a little more now and then, and what change adds."""
    random.seed(cycles)
    run = []
    for i in range(cycles):
        line = {key: value + (random.randrange(3) if key.startswith('binder') else 0) for key, value in FLAT.items()}
        line.update(cycle=i + 1, reports=1000 * (i + 1))
        # Buffers that the first storm fills.
        line['resident_kib'] += 248 if i > cycles / 40 else 0
        change(line, i)
        run.append(line)
    return run


def grow(key, every, after=0):
    def change(line, i):
        line[key] += max(0, i - after) // every
    return change


def at(cycle, **values):
    return lambda line, i: line.update(values) if i == cycle else None


# What is wrong, in how many cycles, and the beginning of what is said; None for nothing.
CASES = [
    ('nothing', 1000, lambda line, i: None, None),
    ('nothing, in a short run', 60, lambda line, i: None, None),
    ('one descriptor lost, once', 1000, grow('descriptors', 500), 'descriptors: from 6 to 7'),
    ('a descriptor in ten cycles', 100, grow('descriptors', 10), 'descriptors: from'),
    ('a reference in a hundred cycles', 1000, grow('binder_references', 100), 'binder references'),
    ('an object in fifty cycles, late', 1000, grow('binder_nodes', 50, after=500), 'binder objects'),
    ('a thread', 1000, grow('threads', 400), 'threads: from 1 to'),
    ('1 KiB in four cycles', 1000, grow('anonymous_kib', 4), 'of that neither code nor files'),
    ('1 KiB a cycle', 1000, grow('resident_kib', 1), 'resident memory'),
    ('a session left, once', 1000, at(700, kernel_sessions=1), 'sessions are left'),
    ('a cycle that failed, in a run too short to tell growth', 3, at(1, failure='lost'), 'cycle 2: lost'),
    ('no report', 100, lambda line, i: line.update(reports=0), 'nothing was ranged'),
]

failed = 0
for what, cycles, change, expected in CASES:
    _, failures = report.judge(run_of(cycles, change))
    if (not failures) if expected is None else (len(failures) == 1 and failures[0].startswith(expected)):
        continue
    failed += 1
    print(f'Failure\nerror: {what}: expected {expected}, said {failures}')
print(f'[  PASSED  ] {len(CASES) - failed} tests.')
if failed:
    print(f'[  FAILED  ] {failed} tests.')
sys.exit(1 if failed else 0)
