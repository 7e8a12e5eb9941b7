#!/usr/bin/env bash
# Fetches packages that the machine itself does not need from the servers that its apt uses, and unpacks them. Installs
# nothing, changes no setting, and does not need root.
#
#   fetch-with-apt.sh source DIRECTORY PACKAGE       the source of PACKAGE; DIRECTORY must not exist yet
#   fetch-with-apt.sh arm64 DIRECTORY PACKAGE...     the files of packages for 64-bit ARM
#   fetch-with-apt.sh unstable DIRECTORY PACKAGE...  the files of packages from Debian's unstable release
set -euo pipefail

kind=$1 directory=$(realpath -m "$2")
shift 2

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work"/{sources,lists/partial,cache/archives/partial}
: >"$work/status"

# Copies the machine's lists of servers, which have two formats, and asks them for something else.
if [ "$kind" = source ]; then type=deb-src; else type=deb; fi
shopt -s nullglob
for list in /etc/apt/sources.lis[t] /etc/apt/sources.list.d/*.list; do
  sed -n -E -e '/[[:space:]]cdrom:/d' -e "s/^[[:space:]]*deb[[:space:]]+/$type /p" "$list" |
    sed -E -e 's/(\[[^]]*)\barch=[^] ]*/\1/' -e 's/\[[[:space:]]*\]//' >"$work/sources/$(basename "$list")"
done
for list in /etc/apt/sources.list.d/*.sources; do
  sed -E -e "s/^Types:.*/Types: $type/" -e '/^Architectures:/d' "$list" >"$work/sources/$(basename "$list")"
done

if [ "$kind" = unstable ]; then
  # Only Debian's main archive has that release: other servers, updates and backports are left out.
  debian='https?://[^[:space:]]*/debian/?'
  for list in "$work"/sources/*.list; do
    sed -n -i -E "s#^(deb .*$debian[[:space:]]+)[a-z]+([[:space:]].*)#\\1sid\\2#p" "$list"
  done
  for list in "$work"/sources/*.sources; do
    awk -v RS= -v ORS='\n\n' -v debian="URIs:[[:space:]]*$debian[[:space:]]*(\n|\$)" '$0 ~ debian' "$list" |
      sed -E 's/^Suites:.*/Suites: sid/' >"$list.new"
    mv "$list.new" "$list"
  done
fi

# Ubuntu keeps packages for ARM apart from those for Intel; python-apt-common says where.
templates=/usr/share/python-apt/templates/Ubuntu.info
if [ "$kind" = arm64 ] && grep -q '^ID=ubuntu' /etc/os-release; then
  ports=$(sed -n -E 's/^BaseURI:[[:space:]]*//p' "$templates" | head -n 1)
  sed -i -E "s#https?://[^[:space:]]+/ubuntu/?([[:space:]]|\$)#$ports\1#g" "$work"/sources/*
fi

cat >"$work/apt.conf" <<END
Dir::Etc::SourceList "/dev/null";
Dir::Etc::SourceParts "$work/sources";
Dir::State::Lists "$work/lists";
Dir::State::Status "$work/status";
Dir::Cache "$work/cache";
APT::Sandbox::User "root";
END
if [ "$kind" = arm64 ]; then
  cat >>"$work/apt.conf" <<END
APT::Architecture "arm64";
#clear APT::Architectures;
APT::Architectures { "arm64"; };
END
fi

mkdir "$work/downloads"
cd "$work/downloads"
# A third party's server may offer nothing of this kind. If a package is missing, the next command fails.
apt-get -c "$work/apt.conf" -qq update || true
if [ "$kind" = source ]; then
  apt-get -c "$work/apt.conf" -qq source --download-only "$1" >/dev/null
  # apt has checked the files against the signed list of sources.
  dpkg-source --no-check -x ./*.dsc unpacked >/dev/null
  mkdir -p "$(dirname "$directory")"
  mv unpacked "$directory"
else
  apt-get -c "$work/apt.conf" -qq download "$@"
  for package in ./*.deb; do dpkg-deb -x "$package" "$directory"; done
fi
