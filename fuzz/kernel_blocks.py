#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""kernel_blocks.py SELF BLOCKS [MODULE]: of `readelf -rW` of the virtual radio's module on standard input,
says how many of its blocks have run.

SELF is the offset in .text of the function that counts them, BLOCKS what it has counted (a byte a
block). With MODULE, the lines of those that have not run follow.
"""
import re
import subprocess
import sys

BLOCKS = 32768
SHIFT = 2
# From a call's operand, which the relocation is of, to where the call returns.
OPERAND = 4


def main():
    own = int(sys.argv[1], 16)
    with open(sys.argv[2], 'rb') as file:
        seen = file.read()
    calls, section = [], ''
    for line in sys.stdin:
        if line.startswith('Relocation section'):
            section = line.split("'")[1]
        if section == '.rela.text' and '__sanitizer_cov_trace_pc' in line:
            calls.append(int(line.split()[0], 16) + OPERAND)
    missed = [call for call in calls if not seen[((call - own) >> SHIFT) % BLOCKS]]
    share = 100 * (len(calls) - len(missed)) / len(calls)
    print(f'{len(calls) - len(missed)} of {len(calls)} blocks ({share:.0f} %)')
    if len(sys.argv) > 3:
        addresses = [hex(call - OPERAND) for call in missed]
        text = subprocess.run(['addr2line', '-fse', sys.argv[3], '-j', '.text', *addresses], check=True,
                              capture_output=True, text=True).stdout.split('\n')
        places = {f'{where} {function}' for function, where in zip(text[::2], text[1::2])}
        print('\n'.join(sorted(places, key=lambda place: [int(part) if part.isdigit() else part
                                                          for part in re.split(r'(\d+)', place)])))


main()
