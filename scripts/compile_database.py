# SPDX-License-Identifier: Apache-2.0
"""Rewrites CMake's compile database for clang-tidy, which wants each source by itself.

usage: compile_database.py FROM TO

Sources that are compiled several at once get an entry each, and nobody has a precompiled header: each
source has to include what it uses.
"""
import json
import re
import sys
from pathlib import Path

PRECOMPILED = re.compile(r"-Xclang -include-pch -Xclang (?:[^ \\]|\\.)+ -Xclang -include -Xclang (?:[^ \\]|\\.)+")
INCLUDED = re.compile(r'^#include "(.*)"$', re.MULTILINE)

entries = []
for entry in json.loads(Path(sys.argv[1]).read_text()):
    command = PRECOMPILED.sub("", entry["command"])
    file = entry["file"]
    together = INCLUDED.findall(Path(file).read_text()) if "/Unity/" in file else [file]
    entries += [dict(entry, file=one, command=command.replace(file, one)) for one in together]
Path(sys.argv[2]).write_text(json.dumps(entries, indent=1))
