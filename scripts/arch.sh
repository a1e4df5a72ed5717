# shellcheck shell=bash disable=SC2034
# SPDX-License-Identifier: Apache-2.0
#
# The architecture that everything but tools is built for: VELTA_UWB_ARCH, in Debian's names, else this
# machine's. Sourced by common.sh. Another than this machine's has a cache of its own inside the cache.
#
#   ARCH, CROSS   the architecture; not empty when it is not this machine's
#   TRIPLET       its name in paths, GNU_TARGET its name for compilers
#   LOADER        the dynamic loader's path on the device
#   OBJCOPY       for its programs and modules

HOST_ARCH=$(dpkg --print-architecture)
ARCH=${VELTA_UWB_ARCH:-$HOST_ARCH}
CROSS=
[ "$ARCH" = "$HOST_ARCH" ] || CROSS=yes
OBJCOPY=objcopy
case $ARCH in
  amd64)
    TRIPLET=x86_64-linux-gnu GNU_TARGET=$TRIPLET LOADER=/lib64/ld-linux-x86-64.so.2
    ;;
  arm64)
    TRIPLET=aarch64-linux-gnu GNU_TARGET=$TRIPLET LOADER=/lib/ld-linux-aarch64.so.1
    ;;
  i386)
    TRIPLET=i386-linux-gnu GNU_TARGET=i686-linux-gnu LOADER=/lib/ld-linux.so.2
    ;;
  *) die "no '$ARCH' here: VELTA_UWB_ARCH and --arch take amd64, arm64 (the device) and i386 (unit tests)" ;;
esac
export VELTA_UWB_ARCH=$ARCH
if [ -n "$CROSS" ]; then
  [ "$ARCH" != arm64 ] || OBJCOPY=$GNU_TARGET-objcopy
  host_cache=$CACHE
  CACHE=$CACHE/$ARCH
  mkdir -p "$CACHE" "$host_cache/downloads"
  # What is downloaded is the same but for packages, and those are keyed by their names.
  ln -sfn ../downloads "$CACHE/downloads"
  # CMake takes it from here, in platform/ as well.
  export CMAKE_TOOLCHAIN_FILE=$ROOT/scripts/toolchain.cmake
  export VELTA_UWB_TRIPLET=$TRIPLET VELTA_UWB_GNU_TARGET=$GNU_TARGET
fi

# apt_for_arch VERB ARGUMENT...: apt-get or apt-cache for that architecture, as if nothing of it were
# installed, with lists of its own in $CACHE/apt-$ARCH. The sources are the machine's own.
apt_for_arch() {
  local verb=$1 state=$CACHE/apt-$ARCH
  shift
  mkdir -p "$state"/{lists,cache/archives}/partial
  : >"$state/status"
  # A list of architectures is added to: only a configuration file that is read early can name just one.
  printf 'APT::Architecture "%s";\nAPT::Architectures "%s";\n' "$ARCH" "$ARCH" >"$state/apt.conf"
  APT_CONFIG=$state/apt.conf "$verb" -o Dir::State="$state" -o Dir::State::lists="$state/lists" \
    -o Dir::State::status="$state/status" -o Dir::Cache="$state/cache" \
    -o APT::Sandbox::User="$(id -un)" -o APT::Status-Fd=1 "$@"
}
