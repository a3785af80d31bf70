#!/usr/bin/env bash
# Builds the fuzz targets into the folder $OUT, with their seeds, dictionaries, options and libraries.
# Services set these variables; without them the build is that of clang's libFuzzer:
#   CC, CXX, CFLAGS, CXXFLAGS     compilers and their options
#   LIB_FUZZING_ENGINE            the engine, an option or a library
#   SANITIZER                     address, undefined, memory or coverage
#   OUT, WORK                     folders of the result and of the build
# Arguments are further options of cmake.
set -euo pipefail
shopt -s nullglob
cd "$(dirname "$(readlink -f "$0")")/.."
: "${OUT:?set it to the folder of the result}"
WORK=${WORK:-build/clusterfuzzlite}
SANITIZER=${SANITIZER:-address}
export CC=${CC:-clang} CXX=${CXX:-clang++}

options=()
# Services put the sanitizer into the compilers' options.
if [[ "${CXXFLAGS-}" != *-fsanitize=* && $SANITIZER != coverage ]]; then
  case $SANITIZER in
    address) sanitize=address,undefined ;;
    *) sanitize=$SANITIZER ;;
  esac
  options+=("-DVIX_SANITIZE=$sanitize")
fi
mapfile -t targets < <(ls fuzz/corpus)
if [ "$SANITIZER" = memory ]; then
  # Every library has to be built with this sanitizer; the codec's targets use none but that of C++.
  # clang 14 does not know the compressing instructions of AVX-512: set VIX_PRORES_CPU=avx2.
  options+=(-DVIX_BUILD_TOOL=OFF)
  mapfile -t targets < <(sed -n '/^set(fuzzed_codec/,/)/p; /^set(fuzzed_slices/,/)/p' \
    fuzz/CMakeLists.txt | grep -o '^  [A-Za-z]*' | tr -d ' ')
fi

cmake -G Ninja -S . -B "$WORK" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_UNITY_BUILD=ON \
  -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O1 -g1" -DVIX_BUILD_FUZZERS=ON -DVIX_BUILD_TESTS=OFF \
  -DVIX_BUILD_GSTREAMER=OFF -DCMAKE_BUILD_WITH_INSTALL_RPATH=ON \
  "-DCMAKE_INSTALL_RPATH=\$ORIGIN/lib" "${options[@]}" "$@"
cmake --build "$WORK" --target "${targets[@]/%/Fuzzer}"

mkdir -p "$OUT/lib"
cp -a "$WORK"/lib/*.so* "$WORK"/lib/vix-plugins-* "$OUT/lib/"
for target in "${targets[@]}"; do
  program=$OUT/${target}Fuzzer
  cp "$WORK/bin/${target}Fuzzer" "$program"
  # The libraries of the distribution, except those that each system has.
  ldd "$program" | sed -n 's/.* => \(\/.*\) (0x.*/\1/p' |
    { grep -vE '/lib(c|m|dl|rt|pthread|gcc_s|stdc\+\+)\.so|/ld-|'"$(realpath "$OUT")/" || true; } |
    xargs -r cp -Lt "$OUT/lib"
  python3 -m zipfile -c "${program}_seed_corpus.zip" "fuzz/corpus/$target"/*
  {
    echo "[libfuzzer]"
    sed 's/^-\(.*\)=/\1 = /' fuzz/limits
    [ ! -f "fuzz/dictionaries/$target.dict" ] || echo "dict = ${target}Fuzzer.dict"
  } >"$program.options"
  [ ! -f "fuzz/dictionaries/$target.dict" ] ||
    cp -L "fuzz/dictionaries/$target.dict" "$program.dict"
done
