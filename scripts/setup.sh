#!/usr/bin/env bash
# Installs what the build and the tests need from Debian's packages.
# Idempotent: apt-get runs only when a package is missing.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  libxml2-dev zlib1g-dev libzip-dev libdeflate-dev libmobi-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  epubcheck unzip zip w3c-sgml-lib
  libuchardet-dev libpcre2-dev libexttextcat-dev libexttextcat-data python3
  clang-14 libclang-rt-14-dev valgrind
  dpkg-dev file help2man lintian
  slurm-wlm munge
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "setup: installing ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then sudo_cmd=(sudo); fi
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
