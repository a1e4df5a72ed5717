#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Prints docs/interface.md, made from the comments of the .aidl files.

    scripts/interface_docs.py > docs/interface.md
"""

import glob
import os
import re

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..')
PACKAGE = 'hardware.velta.uwb'
VERSION = 1
# As a client meets them; types that are not named here follow in the order of their names.
ORDER = ('IUwb', 'IUwbClientCallback', 'IUwbIface', 'IFiraController', 'IFiraSessionCallback', 'ICccController',
         'ICccControllerCallback', 'ISimpleRangingController', 'ISimpleRangingCallback', 'FiraTwrSession')
HEAD = '''<!-- SPDX-License-Identifier: Apache-2.0 -->
<!-- Made by scripts/interface_docs.py from aidl/{path}; tests/packaging/ compares. -->
# The interface {package}, version {version}

Frozen: its hash is `{hash}`. The service is registered as
`{package}.IUwb/default`; [examples/](../examples/README.md) has complete clients.

A client opens `IUwb`, takes an interface from it (`IUwbIface`) and from that a controller: FiRa, CCC or simple
ranging. Callbacks are objects of the client's that the service calls (oneway: it does not wait). A call that fails
throws a service-specific error: a code of [ErrorCode](#errorcode), and a message, quoted here where it is always the
same. "nullable" is what may be null; any other null is refused before the service sees it.
'''
DECLARATION = re.compile(r'/\*\*(?P<doc>(?:(?!\*/).)*)\*/\s*(?P<code>(?:[^;{}/(,]|\([^)]*\))*?)\s*[;{},]', re.S)


def read(path):
    with open(os.path.join(ROOT, path), encoding='utf-8') as file:
        return file.read()


def paragraphs(comment):
    """The comment's text, and its tags: [(tag, text)]; an empty line ends a paragraph."""
    text = re.sub(r'^[ \t]*\*[ \t]?', '', comment.strip(), flags=re.M)
    body, *tags = re.split(r'^@(?=param|return|throws)', text, flags=re.M)
    def flowing(part):
        return [' '.join(p.split()) for p in re.split(r'\n\s*\n', part.strip()) if p.strip()]
    return flowing(body), [(tag.split(None, 1)[0], ' '.join(tag.split(None, 1)[1].split())) for tag in tags]


class Markdown:
    """Text as Markdown; the names of the package's own types become links."""

    def __init__(self, types):
        self.types = re.compile(r'\b(' + '|'.join(sorted(types, key=len, reverse=True)) + r')\b')

    def text(self, plain):
        escaped = plain.replace('<', '&lt;').replace('_', '\\_').replace('|', '\\|').replace('*', '\\*')
        return self.types.sub(lambda match: f'[{match[1]}](#{match[1].lower()})', escaped)


def method(md, type_name, doc, code):
    signature = ' '.join(code.split())
    name = re.search(r'(\w+)\(', signature)[1]
    body, tags = paragraphs(doc)
    lines = [f'### {type_name}.{name}', '', f'    {signature}', '']
    for paragraph in body:
        lines += [md.text(paragraph), '']
    items = []
    for tag, text in tags:
        first, _, rest = text.partition(' ')
        items.append({'param': f'- `{first}`: {md.text(rest)}', 'return': f'- returns {md.text(text)}',
                      'throws': f'- fails with `{first}` {md.text(rest)}'.rstrip()}[tag])
    return lines + items + ([''] if items else [])


def row(*cells):
    return '| ' + ' | '.join(cells) + ' |'


def field(md, doc, code):
    kind, name, default = re.fullmatch(r'(.*?)\s*(\w+)(?:\s*=\s*(.*))?', ' '.join(code.split()), re.S).groups()
    text = ' '.join(paragraphs(doc)[0])
    return row(f'`{name}`', md.text(kind), md.text(text) + (f' Default {default}.' if default else ''))


def enumerator(md, doc, code):
    name, value = [part.strip() for part in code.split('=')]
    return row(f'`{name}`', value, md.text(' '.join(paragraphs(doc)[0])))


def described(md, path):
    """(kind, Markdown) of the type that a file declares."""
    source = read(path)
    documents = [match.groupdict() for match in DECLARATION.finditer(source)]
    head, members = documents[0], documents[1:]
    kind, name = re.search(r'(interface|parcelable|enum) (\w+)$', head['code']).groups()
    body = source[source.index('{'):]
    undocumented = re.sub(r'/\*.*?\*/|//[^\n]*', '', body, flags=re.S)
    count = len(re.findall(r'=' if kind == 'enum' else r';', undocumented))
    assert count == len(members), f'{path}: {count} members, {len(members)} of them documented'
    lines = [f'## {name}', '']
    backing = re.search(r'@Backing\(type="(\w+)"', head['code'])
    if backing:
        lines += [f'Of type {backing[1]}.', '']
    for paragraph in paragraphs(head['doc'])[0]:
        lines += [md.text(paragraph), '']
    if 'oneway' in head['code']:
        lines += ['Oneway; implemented by the client.', '']
    if kind == 'interface':
        for member in members:
            lines += method(md, name, member['doc'], member['code'])
        return kind, lines
    if members:
        columns, make = (('field', 'type', ''), field) if kind == 'parcelable' else (('name', 'value', ''), enumerator)
        lines += [row(*columns), '|---|---|---|'] + [make(md, member['doc'], member['code']) for member in members] + ['']
    return kind, lines


def main():
    folder = PACKAGE.replace('.', '/')
    names = {os.path.basename(path)[:-5] for path in glob.glob(os.path.join(ROOT, 'aidl', folder, '*.aidl'))}
    md = Markdown(names)
    ordered = sorted(names, key=lambda name: (ORDER.index(name) if name in ORDER else len(ORDER), name))
    groups = {'interface': [], 'parcelable': [], 'enum': []}
    for name in ordered:
        kind, lines = described(md, f'aidl/{folder}/{name}.aidl')
        groups[kind].append((name, lines))
    print(HEAD.format(path=folder, package=PACKAGE, version=VERSION,
                      hash=read(f'aidl/aidl_api/{PACKAGE}/{VERSION}/.hash').strip()))
    for title, kind in (('Interfaces', 'interface'), ('Data', 'parcelable'), ('Enumerations', 'enum')):
        print(f'{title}: ' + ', '.join(f'[{name}](#{name.lower()})' for name, _ in groups[kind]) + '.\n')
    print('\n'.join('\n'.join(lines) for kind in groups for _, lines in groups[kind]).rstrip())


main()
