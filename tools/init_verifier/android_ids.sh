#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# android_ids.sh HEADER: the platform's users (android_filesystem_config.h) as the table that host_init_verifier has.
set -eu
echo '#include <stddef.h>'
echo 'struct android_id_info { const char *name; unsigned aid; };'
echo 'static const android_id_info android_ids[] = {'
# Ranges are no users.
awk '$1 == "#define" && $2 ~ /^AID_/ && $2 !~ /_(START|END)$/ && $3 ~ /^[0-9]+$/ {
  name = tolower(substr($2, 5))
  if (name ~ /^(media_codec|media_ex|media_drm)$/) sub(/_/, "", name)
  printf "  {\"%s\", %s},\n", name, $3
}' "$1"
echo '};'
echo 'static const size_t android_id_count = sizeof(android_ids) / sizeof(android_ids[0]);'
