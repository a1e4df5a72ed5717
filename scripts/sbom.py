#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Prints what the packages are made of, as CycloneDX 1.5 (JSON).

    scripts/sbom.py COMMIT EPOCH FILE.deb...

What is linked to comes from the packages' own dependencies, with the versions of this machine, which they were built
with. What is built in is listed here, as in NOTICE.md.
"""

import datetime
import hashlib
import json
import os
import re
import subprocess
import sys
import uuid

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..')
PLATFORM = 'android-platform-tools'
# What is built into the programs, by package: a Debian package of this machine, or the platform's sources.
BUILT_IN = {
    'velta-uwb': [PLATFORM],
    'uwbctl': [PLATFORM, 'libcli11-dev', 'libeigen3-dev', 'nlohmann-json3-dev'],
    'mcps802154-sim-dkms': []}
# SPDX's words; where there are several, one expression.
LICENCES = {
    'velta-uwb': 'Apache-2.0', 'uwbctl': 'Apache-2.0', 'mcps802154-sim-dkms': 'GPL-2.0-only',
    PLATFORM: 'Apache-2.0 AND BSD-3-Clause AND MIT', 'libcli11-dev': 'BSD-3-Clause', 'libeigen3-dev': 'MPL-2.0',
    'nlohmann-json3-dev': 'MIT',
    'libcpp-httplib0.11': 'MIT', 'libc6': 'LGPL-2.1-or-later', 'libgcc-s1': 'GPL-3.0-or-later WITH GCC-exception-3.1',
    'libstdc++6': 'GPL-3.0-or-later WITH GCC-exception-3.1', 'libnl-3-200': 'LGPL-2.1-only',
    'libnl-genl-3-200': 'LGPL-2.1-only', 'libncursesw6': 'X11', 'libtinfo6': 'X11'}


def output(*command):
    return subprocess.check_output(command, text=True).strip()


def reference(name, version, architecture):
    return f"pkg:deb/debian/{name.replace('+', '%2B')}@{version.replace('+', '%2B').replace(':', '%3A')}?arch={architecture}"


def component(name, version, architecture, **more):
    ref = reference(name, version, architecture)
    return {'type': 'library', 'bom-ref': ref, 'name': name, 'version': version,
            'licenses': [{'expression': LICENCES[name]}], 'purl': ref, **more}


def platform_sources():
    """The sources of Android's libraries, as platform/build.sh names and checks them."""
    with open(os.path.join(ROOT, 'platform/build.sh'), encoding='utf-8') as file:
        sha256 = re.search(PLATFORM + r'\]=([0-9a-f]{64})|SOURCE_SHA256=([0-9a-f]{64})', file.read())
    with open(os.path.join(ROOT, 'platform/README.md'), encoding='utf-8') as file:
        version = re.search(rf'`{PLATFORM}` ([\d.]+)', file.read())[1]
    return component(PLATFORM, version, 'source', pedigree={'notes': 'With the patches of platform/patches.'},
                     hashes=[{'alg': 'SHA-256', 'content': sha256[1] or sha256[2]}])


def installed(name):
    version, architecture = output('dpkg-query', '-W', '-f', '${Version} ${Architecture}', name).split()
    return component(name, version, architecture)


def package(path):
    name, version, architecture = (output('dpkg-deb', '-f', path, field)
                                   for field in ('Package', 'Version', 'Architecture'))
    with open(path, 'rb') as file:
        sha256 = hashlib.sha256(file.read()).hexdigest()
    made = component(name, version, architecture, hashes=[{'alg': 'SHA-256', 'content': sha256}])
    made['type'] = 'application'
    # No archive has it.
    made['bom-ref'] = f'{name}@{version}'
    del made['purl']
    linked = re.findall(r'(?:^|, )(lib[\w.+-]+) \(', output('dpkg-deb', '-f', path, 'Depends'))
    parts = [platform_sources() if part == PLATFORM else installed(part) for part in BUILT_IN[name] + linked]
    return made, parts


def main():
    commit, epoch, *paths = sys.argv[1:]
    components, dependencies = {}, []
    for path in paths:
        made, parts = package(path)
        for entry in [made, *parts]:
            components[entry['bom-ref']] = entry
        dependencies.append({'ref': made['bom-ref'], 'dependsOn': sorted({part['bom-ref'] for part in parts})})
    version = output('sed', '-n', 's/.*kVersion.*"\\(.*\\)".*/\\1/p', os.path.join(ROOT, 'version/version.h'))
    when = datetime.datetime.fromtimestamp(int(epoch), datetime.timezone.utc)
    print(json.dumps({
        'bomFormat': 'CycloneDX', 'specVersion': '1.5', 'version': 1,
        # The same for the same contents.
        'serialNumber': f'urn:uuid:{uuid.uuid5(uuid.NAMESPACE_OID, commit + json.dumps(components))}',
        'metadata': {
            'timestamp': when.strftime('%Y-%m-%dT%H:%M:%SZ'),
            'component': {'type': 'application', 'bom-ref': 'velta-uwb-sources', 'name': 'velta-uwb',
                          'version': version, 'properties': [{'name': 'commit', 'value': commit}]}},
        'components': [components[ref] for ref in sorted(components)],
        'dependencies': sorted(dependencies, key=lambda entry: entry['ref'])}, indent=2))


main()
