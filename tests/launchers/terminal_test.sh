#!/bin/sh
# A test program that is started in a terminal takes no keys from it: RunReportedTest.AnythingElseIsACrash ends in the pause
# that waits for one.
#   terminal_test.sh <test program of app/entry>
set -u
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch" || exit 1
# A terminal on which nobody types, and whose end never comes.
mkfifo keys
timeout 60 script -qec "stty -g; '$1' --gtest_filter=RunReportedTest.AnythingElseIsACrash; stty -g" /dev/null <>keys >out
code=$?
cat out
[ $code -eq 0 ] || { echo "exit code $code"; exit 1; }
grep -q "1 test from 1 test suite ran" out && grep -q PASSED out || exit 1
[ "$(head -n 1 out)" = "$(tail -n 1 out)" ] || { echo "The terminal is not as it was."; exit 1; }
