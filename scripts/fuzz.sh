#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds the store reader fuzzer with clang's libFuzzer (plus AddressSanitizer and
# UndefinedBehaviorSanitizer) and runs it for a while from the seed corpus in the tree.
# FUZZ_SECONDS sets how long (default 20). New inputs go to a scratch folder, not the tree.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${FUZZ_SECONDS:-20}
out=build/fuzz
mkdir -p "$out"
clang++ -std=c++20 -g -O1 -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=all \
  -I. -Iinclude \
  tests/fuzz/StoreReaderFuzzer.cpp VolmTime/Core/PiecewiseLinearCorrectionFunction.cpp \
  VolmTime/Core/CException.cpp framework/WideText.cpp \
  -o "$out/store_reader_fuzzer"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
"$out/store_reader_fuzzer" -max_total_time="$seconds" -rss_limit_mb=2048 -print_final_stats=1 \
  "$scratch" tests/fuzz/corpus 2>&1 | tail -n 12
echo "fuzz: $seconds s without a crash"
