#!/bin/sh
# Installs what is missing and builds.
set -eu
cd "$(dirname "$0")"
scripts/install-packages
cmake -S . -B build -G Ninja
cmake --build build
