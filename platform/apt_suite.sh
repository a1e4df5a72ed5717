# shellcheck shell=bash
# SPDX-License-Identifier: Apache-2.0
#
# Packages and sources of any Debian suite, whichever one the machine runs, and without touching its
# apt: own list of sources, own lists and cache under $CACHE/apt/SUITE, everything checked against
# Debian's own archive key. Source it after scripts/common.sh. A failure ends the script.
#
#   apt_suite_download SUITE DIR PACKAGE...   the .deb files of PACKAGE (or PACKAGE=VERSION) into DIR
#   apt_suite_source SUITE DIR SOURCE         the original source tarball of SOURCE into DIR
#   apt_suite_kept_source SUITE SOURCE        prints where that tarball is in the cache; fetches it if it is not

# apt_suite_mirrors: the Debian archives that this machine's apt is set up with, likeliest first.
# apt itself is asked, which knows both notations (sources.list and *.sources).
apt_suite_mirrors() {
  local codename all own
  # shellcheck source=/dev/null
  codename=$(. /etc/os-release && printf '%s' "${VERSION_CODENAME:-}")
  all=$(apt-get --print-uris update 2>/dev/null | sed -n "s|^'\([^']*/dists/[^']*\)/InRelease'.*|\1|p") || true
  own=$(grep "/dists/${codename:-none}\$" <<<"$all") || own=$all
  # A dated snapshot may be older than the suite; the undated archive beside it is the second choice.
  sed -e 's|/dists/.*||' -e p -e 's|/archive/\(debian[^/]*\)/[0-9]\{8\}T[0-9]\{6\}Z|/\1|' <<<"$own" |
    awk 'NF && !seen[$0]++'
}

apt_suite_keyring_() {
  local file
  for file in /usr/share/keyrings/debian-archive-keyring.{gpg,pgp}; do
    if [ -r "$file" ]; then
      printf '%s\n' "$file"
      return
    fi
  done
  die "Debian's archive keyring is missing; install the package debian-archive-keyring"
}

# apt_suite_configure_ SUITE MIRROR: writes the private configuration.
apt_suite_configure_() {
  local dir=$CACHE/apt/$1 keyring arch
  keyring=$(apt_suite_keyring_) || exit
  arch=$(dpkg --print-architecture) || exit
  mkdir -p "$dir/lists/partial" "$dir/cache/archives/partial"
  # Named targets: no translations, no contents lists, whatever the machine adds to its own.
  cat >"$dir/sources.list" <<END
deb [signed-by=$keyring arch=$arch target=Packages] $2 $1 main
deb-src [signed-by=$keyring target=Sources] $2 $1 main
END
  cat >"$dir/apt.conf" <<END
Dir::Etc::sourcelist "$dir/sources.list";
Dir::Etc::sourceparts "/dev/null";
Dir::Etc::preferences "/dev/null";
Dir::Etc::preferencesparts "/dev/null";
Dir::State::lists "$dir/lists";
Dir::Cache "$dir/cache";
Dir::Cache::pkgcache "pkgcache.bin";
Dir::Cache::srcpkgcache "";
APT::Get::AllowUnauthenticated "false";
Acquire::AllowInsecureRepositories "false";
Acquire::Retries "3";
APT::Sandbox::User "root";
APT::Status-Fd "1";
#clear APT::Update::Pre-Invoke;
#clear APT::Update::Post-Invoke;
#clear APT::Update::Post-Invoke-Success;
END
}

# apt_suite_update_ SUITE: fetches the suite's lists from the first mirror that serves it.
apt_suite_update_() {
  local suite=$1 dir=$CACHE/apt/$1 mirror tried=
  rm -f "$dir/updated"
  while IFS= read -r mirror; do
    apt_suite_configure_ "$suite" "$mirror"
    say "apt: lists of Debian $suite"
    if run_quietly "apt-$suite-lists" apt-get -c "$dir/apt.conf" -o APT::Update::Error-Mode=any update; then
      touch "$dir/updated"
      return
    fi
    tried+=" $mirror"
  done < <(apt_suite_mirrors)
  [ -n "$tried" ] || die "this machine's apt knows no Debian archive; name one in its sources and run again"
  tail -n 10 "$LOGS/apt-$suite-lists.log" >&2
  die "no lists of Debian $suite from:$tried; is there a network, and does that mirror serve $suite?" \
    "(log: $LOGS/apt-$suite-lists.log)"
}

# apt_suite_run_ SUITE DIR APT-GET-ARGUMENT...: runs it in DIR, with lists of today; once more with
# fresh ones, because packages move on and yesterday's file is gone from the mirror then.
apt_suite_run_() {
  local suite=$1 to=$2 dir=$CACHE/apt/$1
  shift 2
  mkdir -p "$dir" "$to"
  (
    # Called before "||", where set -e does not hold: every step says for itself that it must succeed.
    exec 9>"$dir/lock" || exit
    flock 9 || exit
    cd "$to" || exit
    if [ -n "$(find "$dir/updated" -mmin -1440 2>/dev/null)" ]; then
      run_quietly "apt-$suite" apt-get -c "$dir/apt.conf" "$@" && exit
    fi
    apt_suite_update_ "$suite"
    run_logged "apt-$suite" apt-get -c "$dir/apt.conf" "$@"
  )
}

apt_suite_download() {
  local suite=$1 to=$2 package wanted=()
  shift 2
  for package in "$@"; do
    case $package in
      *=*) wanted+=("$package") ;;
      *) wanted+=("$package/$suite") ;;
    esac
  done
  say "apt: $* from Debian $suite"
  apt_suite_run_ "$suite" "$to" download "${wanted[@]}" ||
    die "could not download $* from Debian $suite (see above): check the network, then run again"
}

apt_suite_source() {
  local suite=$1 to=$2 source=$3
  say "apt: source of $source from Debian $suite"
  # The tarball only: mirrors do not serve every .debian.tar, and nobody needs it here.
  apt_suite_run_ "$suite" "$to" source --tar-only --download-only "$source" ||
    die "could not download the source of $source from Debian $suite (see above):" \
      "check the network, then run again"
}

apt_suite_kept_source() {
  # platform/build.sh keeps those that it builds from as SOURCE-KEY, APT calls them SOURCE_VERSION.
  local kept=("$CACHE/downloads/$2"[-_]*.orig.tar*)
  if [ ! -f "${kept[0]}" ]; then
    apt_suite_source "$1" "$CACHE/downloads" "$2"
    kept=("$CACHE/downloads/$2"_*.orig.tar*)
  fi
  printf '%s\n' "${kept[0]}"
}
