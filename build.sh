#!/usr/bin/env bash
# Builds and checks ZoBase200.
#   ./build.sh tour      build the library, run the example tour and draw build/examples/symbology.png
#   ./build.sh test      build everything and run every test through CTest
#   ./build.sh sanitize  build the tests with AddressSanitizer + UndefinedBehaviorSanitizer and run them
#   ./build.sh tsan      build the tests with ThreadSanitizer and run the threaded ones
#   ./build.sh bench     build and run the benchmarks (pass Google Benchmark flags after it)
#   ./build.sh fuzz T S  build the libFuzzer targets with clang and run target T for S seconds
#   ./build.sh clang     build everything with clang and run every test
#   ./build.sh cross A   cross-build the library and its tests for A (i386 or s390x) and run them
#   ./build.sh format    check that every C++ source is formatted as .clang-format says
# Each command installs (with apt-get, when run as root) only the package groups it needs.
# ZOBASE_WERROR=ON in the environment turns compiler warnings into errors (CI sets it).
set -euo pipefail
cd "$(dirname "$0")"
ROOT=$(pwd)
JOBS=${JOBS:-$(nproc 2>/dev/null || echo 2)}

WERROR=${ZOBASE_WERROR:-OFF}

# Debian packages, one group per purpose. A new dependency goes into the group of what needs it,
# on a line of its own with a comment saying who needs it.
LIBRARY_PACKAGES=(
    cmake make g++ pkg-config  # the build itself and the package test
    zlib1g-dev                 # the library
)
EXAMPLE_PACKAGES=(
    libpng-dev  # the symbology example writes its picture through libpng
)
TEST_PACKAGES=(
    libgtest-dev libgmock-dev  # tests/
    libssl-dev                 # DES reference of the KrCompress tests and peer of bench_KrCompress
)
BENCH_PACKAGES=(
    libbenchmark-dev                # bench/
    libpugixml-dev libtinyxml2-dev  # peers of bench_KrMarkup
    libabsl-dev                     # peer of bench_KrHash (absl::flat_hash_map)
    libspdlog-dev                   # peer of bench_KrLogFile
    libdeflate-dev                  # peer of bench_KrCompress (UnZip)
)
CLANG_PACKAGES=(
    clang  # ./build.sh fuzz (libFuzzer) and ./build.sh clang
)
FORMAT_PACKAGES=(
    clang-format  # ./build.sh format
)
# ./build.sh cross: the cross compiler of each target, and qemu-user where the kernel cannot run
# the target's programs itself.
CROSS_I386_PACKAGES=(
    cmake make g++-i686-linux-gnu
)
CROSS_S390X_PACKAGES=(
    cmake make g++-s390x-linux-gnu
    qemu-user  # runs the s390x programs
)
# Packages of the target architecture that ./build.sh cross unpacks into its sysroot. The C
# library, its loader and its gconv modules must come from one package: the programs run with all
# three from here.
CROSS_TARGET_PACKAGES=(
    libc6 libstdc++6 libgcc-s1   # run time (iconv needs the gconv modules of libc6)
    zlib1g zlib1g-dev            # the library
    libgtest-dev libgmock-dev    # tests/
)

install_dependencies() {  # install_dependencies <package>...
    local missing=()
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" ||
            missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    if [ "$(id -u)" -ne 0 ] || ! command -v apt-get >/dev/null; then
        echo "build.sh: missing packages: ${missing[*]} (install them, or run as root)" >&2
        return 0
    fi
    echo "build.sh: installing ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    # With foreign architectures added (./build.sh cross), one architecture's index may lag the
    # mirror and make update fail while every package needed is still listed.
    apt-get update -qq || echo "build.sh: apt-get update reported errors; going on" >&2
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

configure() {  # configure <build dir> [cmake options...]
    local dir=$1
    shift
    local launcher=()
    # ccache, when present, lets several work trees share their object files.
    command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    cmake -S "$ROOT" -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZOBASE_WERROR="$WERROR" "${launcher[@]}" \
        "$@" >/dev/null
}

make_sysroot() {  # make_sysroot <folder> <Debian architecture>: unpack CROSS_TARGET_PACKAGES there
    local dir=$1 arch=$2
    local stamp="$dir/.packages"
    local wanted="${CROSS_TARGET_PACKAGES[*]}"
    [ -f "$stamp" ] && [ "$(cat "$stamp")" = "$wanted" ] && return 0
    if ! dpkg --print-foreign-architectures | grep -qx "$arch"; then
        if [ "$(id -u)" -ne 0 ]; then
            echo "build.sh: run as root, or first: dpkg --add-architecture $arch && apt-get update" >&2
            exit 1
        fi
        dpkg --add-architecture "$arch"
        # A mirror whose index of one architecture lags the others makes update complain; the
        # downloads below only need the packages to be listed.
        apt-get update -qq || echo "build.sh: apt-get update reported errors; going on" >&2
    fi
    rm -rf "$dir"
    # The sysroot lies in the build folder, whose cache may hold paths into the old one.
    rm -f "$(dirname "$dir")/CMakeCache.txt"
    mkdir -p "$dir/debs"
    local names=()
    for package in "${CROSS_TARGET_PACKAGES[@]}"; do names+=("$package:$arch"); done
    # Downloading and unpacking works even when the target's index lags the host's versions, where
    # installing the foreign packages with apt would not.
    (cd "$dir/debs" && apt-get download -qq -o APT::Sandbox::User=root "${names[@]}")
    for deb in "$dir"/debs/*.deb; do dpkg -x "$deb" "$dir"; done
    # Development links may name the run-time library by its absolute path (/lib/...): point
    # them at the copy in the sysroot, or the linker would take the static library instead.
    local link target
    while IFS= read -r link; do
        target=$(readlink "$link")
        if [ "${target#/}" != "$target" ] && [ -e "$dir$target" ]; then
            ln -sfn "$ROOT/$dir$target" "$link"
        fi
    done < <(find "$dir" -type l)
    echo "$wanted" >"$stamp"
}

run_tests() {  # run_tests <build dir> [ctest options...]
    local dir=$1
    shift
    (cd "$dir" && ctest --output-on-failure --timeout 600 -j "$JOBS" "$@")
}

command=${1:-test}
[ $# -gt 0 ] && shift

case "$command" in
tour)
    install_dependencies "${LIBRARY_PACKAGES[@]}" "${EXAMPLE_PACKAGES[@]}"
    configure build -DZOBASE_BUILD_TESTS=OFF -DZOBASE_BUILD_BENCH=OFF -DZOBASE_BUILD_EXAMPLES=ON
    cmake --build build -j "$JOBS" --target tour
    ./build/examples/tour
    # The symbology picture needs libpng; without it the target does not exist.
    if cmake --build build --target help | grep -w symbology >/dev/null; then
        cmake --build build -j "$JOBS" --target symbology
        ./build/examples/symbology build/examples/symbology.png
    fi
    ;;
test)
    install_dependencies "${LIBRARY_PACKAGES[@]}" "${EXAMPLE_PACKAGES[@]}" "${TEST_PACKAGES[@]}" \
        "${BENCH_PACKAGES[@]}"
    configure build -DZOBASE_BUILD_TESTS=ON -DZOBASE_BUILD_BENCH=ON -DZOBASE_BUILD_EXAMPLES=ON
    cmake --build build -j "$JOBS"
    run_tests build
    ;;
clang)
    install_dependencies "${LIBRARY_PACKAGES[@]}" "${TEST_PACKAGES[@]}" "${BENCH_PACKAGES[@]}" \
        "${CLANG_PACKAGES[@]}"
    CC=clang CXX=clang++ configure build-clang
    cmake --build build-clang -j "$JOBS"
    run_tests build-clang
    ;;
sanitize)
    install_dependencies "${LIBRARY_PACKAGES[@]}" "${TEST_PACKAGES[@]}"
    configure build-san -DZOBASE_SANITIZE=address,undefined -DZOBASE_BUILD_BENCH=OFF \
        -DZOBASE_BUILD_EXAMPLES=OFF
    cmake --build build-san -j "$JOBS"
    ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:allocator_may_return_null=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
        run_tests build-san
    ;;
tsan)
    install_dependencies "${LIBRARY_PACKAGES[@]}" "${TEST_PACKAGES[@]}"
    configure build-tsan -DZOBASE_SANITIZE=thread -DZOBASE_BUILD_BENCH=OFF -DZOBASE_BUILD_EXAMPLES=OFF
    cmake --build build-tsan -j "$JOBS" --target ZoBaseThreadTests
    TSAN_OPTIONS=halt_on_error=1 run_tests build-tsan -L threads
    ;;
bench)
    install_dependencies "${LIBRARY_PACKAGES[@]}" "${BENCH_PACKAGES[@]}"
    configure build -DZOBASE_BUILD_TESTS=OFF -DZOBASE_BUILD_BENCH=ON
    cmake --build build -j "$JOBS"
    for program in build/bench/bench_*; do
        [ -x "$program" ] || continue
        echo "== $program"
        "$program" "$@"
    done
    ;;
fuzz)
    target=${1:?usage: ./build.sh fuzz <target> [seconds]}
    seconds=${2:-60}
    install_dependencies "${LIBRARY_PACKAGES[@]}" "${CLANG_PACKAGES[@]}"
    CC=clang CXX=clang++ configure build-fuzz -DZOBASE_FUZZ=ON -DZOBASE_SANITIZE=address,undefined \
        -DZOBASE_BUILD_TESTS=OFF -DZOBASE_BUILD_BENCH=OFF -DZOBASE_BUILD_EXAMPLES=OFF
    cmake --build build-fuzz -j "$JOBS" --target "fuzz_$target"
    mkdir -p "build-fuzz/corpus/$target"
    "./build-fuzz/fuzz/fuzz_$target" -max_total_time="$seconds" -print_final_stats=1 \
        "build-fuzz/corpus/$target" "fuzz/corpus/$target"
    ;;
cross)
    arch=${1:?usage: ./build.sh cross i386|s390x}
    case "$arch" in
    i386) install_dependencies "${CROSS_I386_PACKAGES[@]}" ;;
    s390x) install_dependencies "${CROSS_S390X_PACKAGES[@]}" ;;
    *)
        echo "build.sh: cross targets are i386 and s390x" >&2
        exit 2
        ;;
    esac
    make_sysroot "build-$arch/sysroot" "$arch"
    configure "build-$arch" -DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/toolchain-$arch.cmake" \
        -DZOBASE_SYSROOT="$ROOT/build-$arch/sysroot" -DZOBASE_BUILD_TESTS=ON -DZOBASE_BUILD_BENCH=OFF \
        -DZOBASE_BUILD_EXAMPLES=OFF
    cmake --build "build-$arch" -j "$JOBS"
    if [ "$arch" = s390x ]; then
        # The C library's own UTF-8 to UTF-16BE and UTF-32BE conversions go wrong under qemu-user
        # (they use s390x conversion instructions); the codec tests then leave out those references.
        echo "build.sh: under qemu-user the codec tests do not compare UTF-8 to UTF-16BE and UTF-32BE with iconv"
        export ZOBASE_TEST_UNDER_QEMU=1
    fi
    run_tests "build-$arch"
    ;;
format)
    install_dependencies "${FORMAT_PACKAGES[@]}"
    find Src include tests bench fuzz examples -name '*.cpp' -o -name '*.h' |
        xargs clang-format --dry-run --Werror
    echo "build.sh: every C++ source is formatted"
    ;;
*)
    sed -n '2,13p' "$0"
    exit 2
    ;;
esac
