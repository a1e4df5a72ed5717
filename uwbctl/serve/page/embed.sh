#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# Writes the C++ source that holds the files of the page: embed.sh FILE...
set -eu

echo '// Made by uwbctl/serve/page/embed.sh from the files beside it.'
echo '#include "uwbctl/serve/page_files.h"'
echo 'namespace uwbctl {'
echo 'const std::vector<PageFile>& PageFiles() {'
echo '    static const std::vector<PageFile> files = {'
for file in "$@"; do
  printf '{"%s", R"~page~(' "${file##*/}"
  cat "$file"
  echo ')~page~"},'
done
echo '    };'
echo '    return files;'
echo '}'
echo '}  // namespace uwbctl'
