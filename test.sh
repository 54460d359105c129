#!/bin/sh
# Installs what is missing, builds, and runs the tests.
#
#   ./test.sh                          all tests but the slow ones
#   ./test.sh --all                    the slow ones as well
#   ./test.sh --sanitize=address,undefined
#   ./test.sh --sanitize=thread        the same under a sanitizer, in a build folder of its own
#
# A new build folder takes any compiler's warnings; "scripts/build build" before it makes one that
# does not.
set -eu
cd "$(dirname "$0")"

folder=build
preset=default
select="--label-exclude slow"
for argument; do
    case $argument in
    --all) select= ;;
    --sanitize=address,undefined)
        folder=build-asan
        preset=asan
        ;;
    --sanitize=thread)
        folder=build-tsan
        preset=tsan
        ;;
    *)
        echo "test.sh: unknown option $argument (there are --all, --sanitize=address,undefined and --sanitize=thread)" >&2
        exit 2
        ;;
    esac
done

scripts/install-packages --test
echo "building" >&2
scripts/build --preset "$preset" "$folder"
echo "testing" >&2
# Most tests wait more than they compute, so that three share a core well.
ctest --test-dir "$folder" $select --output-on-failure --parallel $((3 * $(nproc))) \
    >"$folder/test.log" 2>&1 || {
    grep -v ' Start \| Passed ' "$folder/test.log" >&2 || true
    echo "test.sh: tests failed: see $folder/test.log" >&2
    exit 1
}
grep 'tests passed' "$folder/test.log" || {
    echo "test.sh: no tests were run" >&2
    exit 1
}
