#!/bin/sh
# Installs what building, testing and the samples need from Debian's packages, or the packages named; does nothing where
# it is all there. Usage: setup.sh [PACKAGE...]
set -eu

packages="g++ clang libclang-rt-dev clang-format cmake ninja-build pkg-config
  libvips-dev libtiff-dev libwebp-dev libdeflate-dev liblcms2-dev zlib1g-dev libcli11-dev nlohmann-json3-dev libtomlplusplus-dev
  libcpp-httplib-dev libsane-dev sane-utils help2man
  libgtest-dev libbenchmark-dev python3 libvips-tools libtiff-tools libimage-exiftool-perl procps zsh fish bash-completion
  abigail-tools musl-dev binutils gcovr
  python3-dev pybind11-dev python3-numpy python3-pil python3-pytest ocrmypdf tesseract-ocr-eng tesseract-ocr-lat"

[ $# = 0 ] || packages="$*"

missing=""
for package in $packages; do
  case $(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null) in
    installed) ;;
    *) missing="$missing $package" ;;
  esac
done
[ -n "$missing" ] || exit 0

as_root=""
[ "$(id -u)" = 0 ] || as_root=sudo
export DEBIAN_FRONTEND=noninteractive
$as_root apt-get update -q
# shellcheck disable=SC2086
$as_root apt-get install -q -y --no-install-recommends $missing
