#!/bin/sh
# Installs what is missing, builds, and runs all tests.
set -eu
cd "$(dirname "$0")"
scripts/install-packages
cmake -S . -B build -G Ninja || { echo "test.sh: cmake failed" >&2; exit 1; }
cmake --build build
ctest --test-dir build --output-on-failure --parallel 2
