#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Is each rule of the SELinux policy that ships needed? Takes them out one by one, runs the tests on the
virtual device that need the policy most, and prints a table of what failed. After ./dev build:

  tests/device/policy_rules.py [PATTERN]     rules that match a regular expression; all of them take most of an hour
"""

import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SHIPPED = os.path.join(ROOT, 'packaging/android/sepolicy')
# Macros that declare what others use: without them there is no policy to test.
DECLARATIONS = ('vendor_internal_prop',)
# All that the service does with the kernel, its files and its clients; the first failure is enough.
TESTS = """dumpsys hardware.velta.uwb.IUwb/default | grep -q interface_hash && device_tests --gtest_brief=1 --gtest_fail_fast --gtest_filter=\
CountryTest.SampleFiles*:CountryTest.OpeningMakes*:CountryTest.ThreadsArePinned*:WitnessTest.*:\
KernelTest.ShortAddress*:CccTest.RunsFromInit*:FiraTest.ControllerMeasures*:FaultTest.LivesWithout*:*DomainAccessTest.*"""


def statements(text):
    """Rules and calls of macros: (start, end, text)."""
    blank = re.sub(r'#.*', lambda comment: ' ' * len(comment.group()), text)
    pattern = r'(?:allow|allowxperm|dontaudit|typeattribute)\s[^;]*;|^\w+\([^()]*\)'
    return [(m.start(), m.end(), m.group()) for m in re.finditer(pattern, blank, re.M)]


def variants():
    """(file, what is taken out, the file's text without it): a rule of several permissions once for each."""
    for path in sorted(glob.glob(SHIPPED + '/*.te')):
        with open(path, encoding='utf-8') as file:
            text = file.read()
        for start, end, rule in statements(text):
            words = ' '.join(rule.split())
            permissions = re.search(r'\{([^{}]*)\}\s*;$', words)
            if words.startswith(DECLARATIONS):
                continue
            if words.startswith('allowxperm') and not permissions:
                # Without any such rule all would be allowed: one that is never asked for in its place.
                yield path, words, text[:start] + re.sub(r'\w+;$', '0x8900;', words) + text[end:]
                continue
            if not permissions:
                yield path, words, text[:start] + text[end:]
                continue
            for permission in permissions.group(1).split():
                rest = ' '.join(word for word in permissions.group(1).split() if word != permission)
                kept = words[:permissions.start()] + '{ ' + rest + ' };'
                yield path, words[:permissions.start()] + permission + ';', text[:start] + kept + text[end:]
    path = SHIPPED + '/service_contexts'
    with open(path, encoding='utf-8') as file:
        text = file.read()
    line = text.splitlines()[-1]
    yield path, ' '.join(line.split()), text.replace(line, '')


def outcome(sepolicy, logs):
    """The first thing that went wrong; empty for nothing."""
    run = subprocess.run(
        [ROOT + '/sim/device/vdev', 'run', '--timeout', '240', '--sepolicy', sepolicy, '--logs', logs, '--', 'sh',
         '-c', TESTS], capture_output=True, text=True, check=False)
    said = run.stdout + run.stderr
    with open(logs + '/kernel.log', encoding='utf-8', errors='replace') as file:
        denials = re.findall(r'denied +\{ (\w+) \}.*?(comm="\S*").*?scontext=u:r:(\w+):\S+.*?tclass=(\w+)', file.read())
    ours = [f'{who}: {kind} {what}' for what, comm, who, kind in denials if who in ('hal_velta_uwb_default', 'servicemanager')]
    failed = re.findall(r'^\[  FAILED  \] ([\w./]+)', said, re.M)
    what = failed[0] if failed else ''
    if not what and run.returncode != 0:
        what = next((line for line in said.splitlines() if 'error: ' in line or 'service-start' in line), 'dumpsys')
        what = re.sub(r'(; see|; the logs|: \[).*', '', what).replace('error: the virtual device did not start: ', '')
    return f"{what or 'tests pass'}{' (audit: ' + ours[0] + ')' if ours else ''}" if what or ours else ''


def main():
    wanted = sys.argv[1] if len(sys.argv) > 1 else ''
    print('| without | what fails |\n|---|---|', flush=True)
    with tempfile.TemporaryDirectory() as folder:
        for path, rule, text in variants():
            if not re.search(wanted, rule):
                continue
            sepolicy = folder + '/sepolicy'
            shutil.rmtree(sepolicy, ignore_errors=True)
            shutil.copytree(SHIPPED, sepolicy)
            with open(os.path.join(sepolicy, os.path.basename(path)), 'w', encoding='utf-8') as file:
                file.write(text)
            print(f"| `{rule}` | {outcome(sepolicy, folder + '/logs') or '**nothing**'} |", flush=True)


main()
