#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# examples/other_languages.sh PREFIX OUT: compiles the example in Java and the one in Rust against what the AIDL
# compiler generates for them. PREFIX is where Android's libraries are. The Java one is compiled only: the classes of
# the framework that it uses are declarations without a body here. The Rust one becomes OUT/fira_range, with the
# platform's own crate for binder, and runs wherever the C++ ones do.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/common.sh
. "$ROOT/scripts/common.sh"

prefix=$1
mkdir -p "$2"
out=$(cd "$2" && pwd)
# Debian's own compilers, whatever else is in the path.
PATH=/usr/bin:$PATH
CARGO_HOME=$out/cargo
export CARGO_HOME

# generate LANGUAGE FOLDER
generate() {
  local files
  mapfile -t files < <(cd "$ROOT/aidl" && find hardware -name '*.aidl' | LC_ALL=C sort)
  rm -rf "$2"
  mkdir -p "$2"
  (cd "$ROOT/aidl" && "$prefix/bin/aidl" "--lang=$1" --structured --stability=vintf --min_sdk_version=current \
    --version=1 --hash="$(cat aidl_api/hardware.velta.uwb/1/.hash)" -I . -o "$2" "${files[@]}")
}

java() {
  generate java "$out/java"
  find "$out/java" "$ROOT/examples/framework" "$ROOT/examples/FiraRange.java" -name '*.java' >"$out/java.files"
  rm -rf "$out/classes"
  javac -Xlint:all,-cast,-serial -Werror -d "$out/classes" "@$out/java.files"
  [ -f "$out/classes/FiraRange.class" ]
}

# crate NAME DEPENDENCY...: a library's Cargo.toml; its sources lie in FOLDER/src.
crate() {
  local name=$1
  shift
  printf '[package]\nname = "%s"\nversion = "0.0.0"\nedition = "2021"\n[dependencies]\n' "$name" >"$out/rust/$name/Cargo.toml"
  printf '%s\n' "$@" >>"$out/rust/$name/Cargo.toml"
}

rust() {
  local tarball=("$CACHE"/downloads/android-platform-tools-*.orig.tar.xz) folder=./frameworks/native/libs/binder/rust
  local source types name
  rm -rf "$out/rust"
  mkdir -p "$out"/rust/{binder,binder_ndk_sys/src,hardware_velta_uwb/src,fira_range/src}
  # The platform's crate, as it is.
  tar -xf "${tarball[0]}" -C "$out/rust/binder" --strip-components=6 "$folder/src"
  tar -xf "${tarball[0]}" -C "$out/rust/binder_ndk_sys" --strip-components=6 "$folder/sys" \
    "$folder/libbinder_ndk_bindgen_flags.txt"
  (
    cd "$out/rust/binder_ndk_sys"
    mv sys/lib.rs src/lib.rs
    mapfile -t flags <libbinder_ndk_bindgen_flags.txt
    bindgen --size_t-is-usize "${flags[@]}" sys/BinderBindings.hpp -o bindings.rs -- -x c++ -std=c++17 -I "$prefix/include"
    printf 'fn main() {\n    println!("cargo:rustc-env=OUT_DIR={}", env!("CARGO_MANIFEST_DIR"));\n}\n' >build.rs
  )
  # What Soong's glue does: each type in a module of its own, and all under the names that they have for each other.
  generate rust "$out/rust/hardware_velta_uwb/src/generated"
  source=hardware/velta/uwb
  # The compiler is a little younger than the crate: what dump() writes into.
  sed -i 's/_writer: &mut dyn std::io::Write/_writer: \&std::fs::File/' "$out/rust/hardware_velta_uwb/src/generated/$source"/*.rs
  types=$(cd "$out/rust/hardware_velta_uwb/src/generated/$source" && echo *.rs)
  {
    echo 'pub mod aidl { pub mod hardware { pub mod velta { pub mod uwb {'
    for name in $types; do echo "#[path = \"$out/rust/hardware_velta_uwb/src/generated/$source/$name\"] pub mod ${name%.rs};"; done
    echo '} } } }'
    echo 'pub mod mangled {'
    for name in $types; do echo "pub use super::aidl::hardware::velta::uwb::${name%.rs}::mangled::*;"; done
    echo '}'
  } >"$out/rust/hardware_velta_uwb/src/lib.rs"
  cp "$ROOT/examples/fira_range.rs" "$out/rust/fira_range/src/main.rs"
  crate binder 'downcast-rs = "1"' 'libc = "0.2"' 'binder_ndk_sys = { path = "../binder_ndk_sys" }'
  crate binder_ndk_sys
  crate hardware_velta_uwb 'async-trait = "0.1"' 'binder = { path = "../binder" }'
  crate fira_range 'binder = { path = "../binder" }' 'hardware_velta_uwb = { path = "../hardware_velta_uwb" }'
  cat >"$out/rust/Cargo.toml" <<'END'
[workspace]
members = ["fira_range"]
END
  # Debian's crates, and no others.
  mkdir -p "$CARGO_HOME"
  cat >"$CARGO_HOME/config.toml" <<END
[source.crates-io]
replace-with = "debian"
[source.debian]
directory = "/usr/share/cargo/registry"
[build]
rustflags = ["-Awarnings", "-L$prefix/lib", "-Clink-args=-lbinder_ndk -lbinder -lutils -lcutils -lbase -llog -lstdc++ -ldl -lpthread -lc"]
END
  (cd "$out/rust" && cargo rustc --offline --quiet -p fira_range -- -Dwarnings)
  cp "$out/rust/target/debug/fira_range" "$out/fira_range"
}

# Not by run_logged: where a failure is asked about, a function goes on behind it.
log=
trap '[ -z "$log" ] || { tail -n 25 "$log" >&2; say "an example was not compiled; the whole log is in $log"; }' EXIT
for language in java rust; do
  log=$LOGS/example-$language.log
  "$language" >"$log" 2>&1
  say "examples: the one in $language compiles against what is generated for it"
done
log=
