#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# build_policy.sh SEPOLICY OUT_DIR: compiles the SELinux policy that ships (SEPOLICY, which is
# packaging/android/sepolicy or a copy) together with the virtual device's own:
#
#   OUT_DIR/policy                    for the kernel
#   OUT_DIR/plat_service_contexts     who owns which name of servicemanager's: the device's,
#   OUT_DIR/vendor_service_contexts   and those that ship
#   OUT_DIR/file_contexts             what is to be labelled
set -euo pipefail

HERE=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/sepolicy
[ $# -eq 2 ] || { echo "usage: build_policy.sh SEPOLICY OUT_DIR" >&2; exit 1; }
shipped=$1 out=$2
PATH=$PATH:/usr/sbin
for tool in m4 checkpolicy; do
  command -v "$tool" >/dev/null || { echo "error: $tool is missing; ./dev setup installs it" >&2; exit 1; }
done
mkdir -p "$out"

# The policy's language wants classes first by name alone, then with what they inherit and permit.
classes() {
  awk '
    /^#/ || NF == 0 { next }
    { rest = ""; for (i = ($1 == "common" || $2 ~ /^\[/) ? 3 : 2; i <= NF; i++) rest = rest " " $i }
    $1 == "common" { commons = commons "common " $2 " {" rest " }\n"; next }
    {
      print "class " $1
      body = body "class " $1
      if ($2 ~ /^\[/) body = body " inherits " substr($2, 2, length($2) - 2)
      body = body (rest == "" ? "" : " {" rest " }") "\n"
    }
    END { printf "%s%s", commons, body > bodies }' bodies="$out/class_bodies" "$HERE/classes"
}

{
  classes
  sed -n 's/^sid \([a-z_]*\) .*/sid \1/p' "$HERE/contexts"
  cat "$out/class_bodies"
  cat <<'TEXT'
sensitivity s0;
dominance { s0 }
category c0;
level s0:c0;
mlsconstrain process transition (h1 dom h2);
policycap open_perms;
policycap extended_socket_class;
policycap nnp_nosuid_transition;
TEXT
  sockets=$(sed -n 's/^\(\([a-z0-9_]*_\)\{0,1\}socket\) .*/\1/p' "$HERE/classes" | tr '\n' ' ')
  # -s: messages of checkpolicy name these files and lines.
  m4 -s -D socket_classes="$sockets" "$HERE"/{macros,device.te} "$shipped"/*.te "$HERE/tests.te"
  cat "$HERE/contexts"
} >"$out/policy.conf"
rm -f "$out/class_bodies"
# Binary policies of version 33 are what Linux 6.1 reads.
checkpolicy -M -U deny -c 33 -o "$out/policy" "$out/policy.conf" >"$out/checkpolicy.log" 2>&1 || {
  cat "$out/checkpolicy.log" >&2
  exit 1
}
cp "$HERE/service_contexts" "$out/plat_service_contexts"
cp "$shipped/service_contexts" "$out/vendor_service_contexts"
cp "$HERE/file_contexts" "$out/file_contexts"
