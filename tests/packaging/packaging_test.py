#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that what is shipped beside the programs agrees with them, and with itself."""

import fnmatch
import glob
import os
import re
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import xml.etree.ElementTree

import blueprint  # Android's own; packaging_test.sh brings it.

ANDROID = 'packaging/android/'
INIT_SCRIPT = ANDROID + 'hardware.velta.uwb-service.rc'
BIN = 'build/dev/bin'
HEADER = 'net/mcps802154.h'
DISSECTOR = 'tools/wireshark/mcps802154.lua'
AIDL_PACKAGE = 'hardware.velta.uwb'
# What a platform tree has, and the product that wants uwbctl brings.
PLATFORM_MODULES = {
    'libbase', 'libbinder', 'libbinder_ndk', 'libcutils', 'libgmock', 'libgtest', 'liblog', 'libnl', 'libutils',
    'libcli11_headers', 'libcpphttplib_headers', 'libeigen', 'libncurses', 'libnlohmann_json_headers'}
REFERENCES = ('defaults', 'static_libs', 'shared_libs', 'header_libs', 'default_applicable_licenses')
PATHS = ('srcs', 'src', 'init_rc', 'vintf_fragments', 'license_text', 'test_config', 'export_include_dirs')
POLICY_MACROS = {
    'hal_server_domain', 'init_daemon_domain', 'binder_use', 'binder_call', 'add_service', 'dump_hal', 'get_prop',
    'set_prop', 'vendor_internal_prop'}


def read(path):
    with open(path, encoding='utf-8') as file:
        return file.read()


def tracked(*patterns):
    return subprocess.check_output(
        ['git', 'ls-files', '--cached', '--others', '--exclude-standard', '--', *patterns], text=True).split()


def product_sources():
    return '\n'.join(read(path) for path in tracked('diagnostics/*', 'hal/*', 'host/*', 'looper/*', 'net/*', 'main.cpp'))


def same(what, got, wanted):
    got, wanted = set(got), set(wanted)
    assert got == wanted, f'{what}: not expected {sorted(got - wanted)}, missing {sorted(wanted - got)}'


def as_list(value):
    return [value] if isinstance(value, str) else list(value or [])


def modules():
    """Every module of every blueprint file: (folder, type, properties)."""
    found = []
    for path in tracked('*Android.bp'):
        parser = blueprint.Parser(blueprint.Lexer(read(path), path=path))
        parser.parse()
        found += [(os.path.dirname(path), kind, properties.eval({})) for kind, properties in parser.modules]
    return found


def module(name):
    return next(entry for entry in modules() if entry[2].get('name') == name)


def sources(name):
    folder, _, properties = module(name)
    return {path for pattern in as_list(properties['srcs']) for path in glob.glob(os.path.join(folder, pattern))}


def cmake_sources(path, target):
    text = re.search(rf'add_(?:library|executable)\({re.escape(target)}\s([^)]*)\)', read(path)).group(1)
    return {os.path.join(os.path.dirname(path), word) for word in text.split() if word.endswith('.cpp')}


def installed_binary():
    properties = module('hardware.velta.uwb-service')[2]
    assert properties['vendor']
    return f"/vendor/bin/{properties['relative_install_path']}/{properties['name']}"


def installed_files():
    return {f"/vendor/etc/{p['sub_dir']}/{p['filename']}": os.path.join(folder, p['src'])
            for folder, kind, p in modules() if kind == 'prebuilt_etc'}


def manifest():
    hal = xml.etree.ElementTree.parse(ANDROID + 'hardware.velta.uwb-service.xml').getroot().find('hal')
    assert hal.get('format') == 'aidl'
    return hal.findtext('name'), hal.findtext('version'), hal.findtext('fqname')


def properties_of(path):
    lines = [line for line in read(path).splitlines() if line and not line.startswith('#')]
    return dict(line.split('=', 1) for line in lines)


def constants(path, pattern):
    found = {name: int(number) for name, number in re.findall(pattern, read(path))
             if not name.endswith('_MAX') and not name.endswith('_ELEMENT')}
    assert len(found) > 100, f'{path}: {len(found)} constants were found'
    return found


def test_blueprints_refer_to_what_is_there():
    names = [properties['name'] for _, _, properties in modules() if 'name' in properties]
    assert len(names) == len(set(names)), 'two modules of one name'
    known = set(names) | PLATFORM_MODULES | {AIDL_PACKAGE + '-V1-ndk'}
    for folder, _, properties in modules():
        where = f"{folder}/Android.bp: {properties.get('name')}: "
        for key in REFERENCES:
            unknown = set(as_list(properties.get(key))) - known
            assert not unknown, f'{where}{key}: there is no {unknown}'
        for key in PATHS:
            for path in as_list(properties.get(key)):
                assert '..' not in path, f'{where}{path} is above its folder'
                assert glob.glob(os.path.join(folder, path)), f'{where}there is no {path}'


def test_blueprints_build_what_cmake_builds():
    tests = 'tests/unit/CMakeLists.txt'
    pairs = {
        'libvelta_uwb_service': cmake_sources('CMakeLists.txt', 'uwb_service'),
        'hardware.velta.uwb-service': cmake_sources('CMakeLists.txt', 'hardware.velta.uwb-service'),
        'libvelta_uwb_version': cmake_sources('version/CMakeLists.txt', 'uwb_version'),
        'libuwbctl': cmake_sources('uwbctl/CMakeLists.txt', 'uwbctl_core'),
        'uwbctl': cmake_sources('uwbctl/CMakeLists.txt', 'uwbctl'),
        'libvelta_uwb_conformance_client': cmake_sources('conformance/CMakeLists.txt', 'conformance_client'),
        'libuwbctl_serve': cmake_sources('uwbctl/CMakeLists.txt', 'uwbctl_serve'),
        'uwbctl-serve': cmake_sources('uwbctl/CMakeLists.txt', 'uwbctl-serve'),
        'uwb_conformance': cmake_sources('conformance/CMakeLists.txt', 'uwb_conformance'),
        'VtsHalVeltaUwbTargetTest': glob.glob('tests/device/*.cpp')}
    for room in re.search(r'foreach\(room ([^)]*)\)', read(tests)).group(1).split():
        pairs[f'velta_uwb_{room}_tests'] = glob.glob(f'tests/unit/{room}/*.cpp') + glob.glob('tests/unit/*.cpp')
    examples = re.search(r'foreach\(example ([^)]*)\)', read('examples/CMakeLists.txt')).group(1).split()
    same('examples', sources('velta_uwb_example_fira') | sources('velta_uwb_example_ccc'),
         {f'examples/{name}.cpp' for name in examples})
    for name, wanted in pairs.items():
        same(name, sources(name), wanted)


def test_interface_module_is_the_frozen_version():
    folder, _, properties = module(AIDL_PACKAGE)
    versions = [entry['version'] for entry in properties['versions_with_info']]
    same('versions', versions, os.listdir(f'{folder}/aidl_api/{AIDL_PACKAGE}'))
    assert properties['frozen'] and properties['stability'] == 'vintf'
    name, version, _ = manifest()
    assert (name, version) == (AIDL_PACKAGE, versions[-1]), 'the manifest names another version'


def test_backends_are_generated():
    files = sorted(os.path.relpath(path, 'aidl') for path in tracked('aidl/hardware/*.aidl'))
    suffixes = {'java': '.java', 'rust': '.rs', 'cpp': '.cpp', 'ndk': '.cpp'}
    enabled = module(AIDL_PACKAGE)[2]['backend']
    same('backends', enabled, suffixes)
    for backend, suffix in suffixes.items():
        with tempfile.TemporaryDirectory() as out:
            headers = ['-h', out] if suffix == '.cpp' else []
            subprocess.run(
                [AIDL, f'--lang={backend}', '--structured', '--stability=vintf', '--min_sdk_version=current',
                 '--version=1', '--hash=0', '-I', '.', *headers, '-o', out, *files], cwd='aidl', check=True)
            made = glob.glob(f'{out}/**/*{suffix}', recursive=True)
            assert len(made) == len(files), f'{backend}: {len(made)} files of {len(files)} types'


def test_xml_is_well_formed():
    for path in tracked('*.xml'):
        xml.etree.ElementTree.parse(path)
    test = xml.etree.ElementTree.parse('tests/device/AndroidTest.xml').getroot().find('test')
    names = {option.get('name'): option.get('value') for option in test.iter('option')}
    assert module(names['module-name'])


def init_refuses(script, properties):
    """What Android's init has against a script, by its own parser and table of users; None for nothing."""
    run = subprocess.run([VERIFIER, f'--property-contexts={properties}', script], capture_output=True, text=True, check=False)
    return run.stderr if run.returncode else None


def test_init_takes_the_script_and_the_properties():
    contexts = ANDROID + 'sepolicy/property_contexts'
    refusal = init_refuses(INIT_SCRIPT, contexts)
    assert refusal is None, refusal
    # A parser that takes everything tells nothing.
    with tempfile.TemporaryDirectory() as folder:
        for path, pattern, wrong, reason in (
                (INIT_SCRIPT, 'class hal', 'klass hal', "Invalid keyword 'klass'"),
                (INIT_SCRIPT, 'class hal', 'class', 'at least 1 argument'),
                (INIT_SCRIPT, 'user uwb', 'user uwbb', "UID for 'uwbb'"),
                (INIT_SCRIPT, 'SYS_NICE$', 'SYS_NICER', "invalid capability 'SYS_NICER'"),
                (contexts, ' string$', ' text', "Type 'text' is not valid")):
            text, changes = re.subn(pattern, wrong, read(path), flags=re.M)
            assert changes, f'{path} has no "{pattern}"'
            with open(f'{folder}/wrong', 'w', encoding='utf-8') as file:
                file.write(text)
            refusal = init_refuses(*[file.name if known == path else known for known in (INIT_SCRIPT, contexts)])
            assert refusal and reason in refusal, f'{wrong}: {refusal}'


def test_init_starts_the_service():
    lines = [line.split('#')[0].split() for line in read(INIT_SCRIPT).splitlines()]
    (_, *service), *options = [words for words in lines if words]
    options = {words[0]: words[1:] for words in options}
    name, _, instance = manifest()
    assert service[1:] == [installed_binary()], f'{service} is not what is installed'
    assert options['interface'] == ['aidl', f'{name}.{instance}'], 'init names another instance'
    assert 'Uwb::descriptor) + "/default"' in read('main.cpp') and instance == 'IUwb/default'
    same('capabilities', options['capabilities'], {'NET_ADMIN', 'SYS_NICE'})
    assert options['class'] == ['hal'] and options['user'] != ['root']


def test_properties_are_those_that_the_service_reads():
    read_by_service = set(re.findall(r'= "(ro\.vendor\.[\w.]+)"', product_sources()))
    assert len(read_by_service) == 4
    shipped = properties_of(ANDROID + 'vendor.prop')
    linux = properties_of('packaging/linux/etc/velta-uwb/build.prop')
    same('properties', shipped, linux)
    assert set(shipped) <= read_by_service
    paths = [name for name in shipped if shipped[name] != linux[name]]
    assert paths == ['ro.vendor.uwb.calibration.calibrationpaths'], f'{paths} differ from a Linux host'
    contexts = [line.split() for line in read(ANDROID + 'sepolicy/property_contexts').splitlines()[1:]]
    same('property_contexts', [words[0] for words in contexts], read_by_service)
    words_of_service = set(re.findall(r'\{"(\w+)", (?:Notif|android)', read('host/service_options.cpp')))
    same('enumerated values', [word for words in contexts if words[3] == 'enum' for word in words[4:]], words_of_service)


def test_calibration_that_is_listed_is_installed():
    installed = installed_files()
    paths_file = properties_of(ANDROID + 'vendor.prop')['ro.vendor.uwb.calibration.calibrationpaths']
    for line in read(installed[paths_file]).splitlines():
        for country in ('default', 'unknown'):
            assert line.replace('<country>', country) in installed, f'{line} is not installed for {country}'
    packages = re.findall(r'^    (\S+)', read(ANDROID + 'device-uwb.mk'), re.M)
    wanted = {p['name'] for _, kind, p in modules() if kind == 'prebuilt_etc'} | {'hardware.velta.uwb-service'}
    same('PRODUCT_PACKAGES', packages, wanted)


def policy_statements():
    text = '\n'.join(read(path) for path in sorted(glob.glob(ANDROID + 'sepolicy/*.te')))
    text = re.sub(r'#.*', '', text)
    pattern = r'\s*(?:(type|allow|allowxperm|dontaudit)\s+([^;]*);|(\w+)\(([^()]*)\))'
    position, found = 0, []
    while text[position:].strip():
        match = re.compile(pattern).match(text, position)
        assert match, f'not a statement: {text[position:position + 80].strip()}'
        found.append((match.group(1) or match.group(3), match.group(2) or match.group(4)))
        position = match.end()
    return found


def test_policy_labels_what_is_installed():
    statements = policy_statements()
    types = {text.split(',')[0].strip() for word, text in statements if word == 'type'}
    types |= {text for word, text in statements if word == 'vendor_internal_prop'}
    macros = {word for word, _ in statements} - {'type', 'allow', 'allowxperm', 'dontaudit'}
    assert macros <= POLICY_MACROS, f'unknown macros {macros - POLICY_MACROS}'
    used = {name for _, text in statements for name in re.findall(r'\w*velta_uwb\w*', text)}
    labels = {}
    for path in glob.glob(ANDROID + 'sepolicy/*_contexts'):
        for line in read(path).splitlines()[1:]:
            labels[line.split()[0]] = re.search(r'u:object_r:(\w+):s0', line).group(1)
    same('types', used | set(labels.values()), types)

    def label(path):
        return [labels[pattern] for pattern in labels if pattern.startswith('/') and re.fullmatch(pattern, path)]
    assert label(installed_binary()) == ['hal_velta_uwb_default_exec']
    for path in installed_files():
        assert label(path) == ['vendor_velta_uwb_configs_file'], f'{path} is labelled {label(path)}'
    name, _, instance = manifest()
    assert labels[f'{name}.{instance}'] == 'hal_velta_uwb_service'
    allowed = {name for word, text in statements if word == 'allowxperm' for name in re.findall(r'SIOC\w+', text)}
    # if_nametoindex() asks for an index; nothing in the service for the address of the factory.
    same('ioctls', allowed | {'SIOCETHTOOL'},
         set(re.findall(r'SIOC\w+', read('net/interface_tool.cpp'))) | {'SIOCGIFINDEX'})


def test_lists_of_system_calls_are_the_same():
    with tempfile.TemporaryDirectory() as out:
        subprocess.run(['packaging/seccomp/generate.sh', out], check=True)
        for name in os.listdir(out):
            assert read(f'{out}/{name}') == read(f'packaging/seccomp/{name}'), f'{name}: run generate.sh'


def test_service_starts_behind_the_list_where_there_is_a_time_zone():
    # A zone of the least that a file of one holds: no changes, one type, UTC.
    zone = b'TZif2' + bytes(15) + struct.pack('>6I', 0, 0, 0, 0, 1, 4) + bytes(6) + b'UTC\0'
    with tempfile.NamedTemporaryFile() as file:
        file.write(zone + zone + b'\nUTC0\n')
        file.flush()
        ended = subprocess.run([f'{BIN}/seccomp-exec', 'packaging/seccomp/hardware.velta.uwb-service.policy',
                                f'{BIN}/hardware.velta.uwb-service'], env={'TZ': f':{file.name}'},
                               capture_output=True, check=False)
    # Without binder it goes no further.
    assert b'binder' in ended.stderr and ended.returncode != -signal.SIGSYS, (ended.returncode, ended.stderr)


def test_porting_guide_names_everything():
    guide = read('docs/porting.md')
    names = set(constants(HEADER, r'(\w+) = (\d+)')) | set(re.findall(r'#define (MCPS802154_\w+) "', read(HEADER)))
    names |= set(re.findall(r'"(ro\.vendor\.[\w.]+)"', product_sources()))
    names |= set(re.findall(r'k\w+Key\[\] = "([^"]+)"', product_sources()))
    missing = sorted(name for name in names if f'`{name}`' not in guide)
    assert not missing, f'docs/porting.md does not name {missing}'


def test_dissector_has_the_numbers_and_types_of_the_header():
    ours = constants(DISSECTOR, r'\{ "(\w+)", (\d+)')
    wanted = constants(HEADER, r'(\w+) = (\d+)')
    same('numbers', ours.items(), wanted.items())
    kinds = {'String': 'string', 'bytes': 'bytes', 'Binary': 'bytes', 'Nest: list': 'list', 'nest: list': 'list'}
    typed = dict(re.findall(r'\{ "(\w+)", \d+, "(\w+)"', read(DISSECTOR)))
    word = r'[us](?:8|16|32|64)|String|bytes|Binary|flag|[Nn]est: list|[Nn]est'
    header = re.findall(rf'^ +/\* ({word})\b[^/]*\*/\s*(\w+) = \d+', read(HEADER), re.M)
    header += [(kind, name) for name, kind in re.findall(rf'(\w+) = \d+, +/\* ({word})\b', read(HEADER))]
    assert len(header) > 80
    for kind, name in header:
        wanted_kind = kinds.get(kind, kind.lower())
        got = typed[name].replace('x16', 'u16').replace('params', 'nest')
        assert got == wanted_kind, f'{name}: {got} is {wanted_kind} in the header'


def test_dissector_reads_a_capture():
    reports = subprocess.run(
        ['tshark', '-X', f'lua_script:{DISSECTOR}', '-r', 'tests/packaging/ranging.pcapng', '-T', 'fields', '-E',
         'separator= ', '-e', 'mcps802154.fira_measurement_attr_short_addr', '-e',
         'mcps802154.fira_measurement_attr_distance_mm', '-Y',
         'mcps802154.fira_measurement_attr_distance_mm || mcps802154.unknown || mcps802154.bad_length || _ws.lua'],
        capture_output=True, text=True, check=True).stdout.split('\n')
    # What the client that was ranging then printed.
    wanted = ['0x1234,0x5678 2027,2255', '0x1234,0x5678 1980,2257', '0x1234,0x5678 2048,2243', '']
    assert reports == wanted, reports


def test_log_lines_in_the_debugging_guide_exist():
    code = re.sub(r"'(\\.|[^'\\])'", '', product_sources())  # Characters: one may be a quote.
    code = re.sub(r'(?<!\\)"\s*\n?\s*"', '', code)
    literals = ' '.join(re.findall(r'"((?:[^"\\]|\\.)*)"', code))
    rows = re.findall(r'^\| `([^`]+)` \|', read('docs/debugging.md').split('## Log lines')[1], re.M)
    assert len(rows) > 20, f'{len(rows)} log lines were found'
    for row in rows:
        for part in re.split(r'<[^>]*>', row):
            assert part.strip() in literals, f'no log line says "{part.strip()}"'


def test_interface_guide_is_that_of_the_interface():
    made = subprocess.check_output(['scripts/interface_docs.py'], text=True)
    assert made == read('docs/interface.md'), 'scripts/interface_docs.py > docs/interface.md'


def test_links_of_documents_lead_somewhere():
    for path in tracked('*.md'):
        for link in re.findall(r'\]\(([^)#]+)\)', read(path)):
            target = os.path.normpath(os.path.join(os.path.dirname(path), link))
            assert os.path.exists(target), f'{path}: there is no {link}'


def test_sources_name_their_licence():
    code = ('*.cpp', '*.h', '*.c', '*.aidl', '*.bp', '*.cmake', '*CMakeLists.txt', '*.sh', '*.py', '*.lua', '*.java',
            '*.rs', '*.js', '*.mjs', '*.css', '*.pl', '*.mk', '*.te', '*.rc', '*.xml', '*_contexts', '*Makefile',
            '*Kbuild', 'dev', 'sim/device/guest/*')
    for path in tracked(*code, ':!aidl/aidl_api'):
        head = '\n'.join(read(path).split('\n')[:3])
        assert 'SPDX-License-Identifier: ' in head, f'{path} names no licence'
        wanted = 'GPL-2.0' if fnmatch.fnmatch(path, 'sim/radio/*') else 'Apache-2.0'
        assert wanted in head, f'{path} is not {wanted}'


AIDL, VERIFIER = map(os.path.abspath, sys.argv[1:])
passed = failed = 0
for name, test in [entry for entry in globals().items() if entry[0].startswith('test_')]:
    if test is test_dissector_reads_a_capture and not shutil.which('tshark'):
        print(f'not run, tshark is not installed: {name}')
        continue
    try:
        test()
        passed += 1
    except Exception as exception:  # Whatever it is: the others run.
        failed += 1
        print(f'FAILED {name}: {type(exception).__name__}: {exception}')
# The closing lines of the project's other tests.
print(f'[  PASSED  ] {passed} tests.')
if failed:
    print(f'[  FAILED  ] {failed} tests.')
sys.exit(failed != 0)
