# Sourced by run.sh, test.sh and bench.sh, which set $root: installs what is missing and builds.
# shellcheck shell=sh

export LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive

tools_native="cmake ninja-build g++ pkg-config python3 googletest nlohmann-json3-dev libcli11-dev libpng-dev libturbojpeg0-dev libgdk-pixbuf-2.0-dev"
tools_windows="g++-mingw-w64-x86-64 g++-mingw-w64-i686 mingw-w64-tools wine wine64"
tools_bench="libbenchmark-dev nlohmann-json3-dev rapidjson-dev libpugixml-dev libconfig++-dev"
tools_tests="debootstrap strace clang-format chromium"
tools_packages_linux="dpkg-dev lintian man-db groff-base bash-completion dbus shared-mime-info hicolor-icon-theme gtk-update-icon-cache xdg-utils libfile-mimeinfo-perl libglib2.0-bin tumbler bubblewrap python3-gi gir1.2-gnomedesktop-4.0"
tools_packages_windows="nsis"
tools_memcheck="valgrind"
tools_clang="clang libclang-rt-dev"
tools_checks="$tools_clang clang-tidy cppcheck"

say() { printf '\n== %s\n' "$*"; }
die() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        die "needs root: run it as root, or install sudo ($*)"
    fi
}

# install_packages PACKAGE...: installs those that are not there yet.
install_packages() {
    missing=
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing="$missing $package"
    done
    [ -n "$missing" ] || return 0
    say "Installing$missing"
    as_root apt-get -qq update || die "the package lists cannot be fetched"
    # shellcheck disable=SC2086  # a list of words
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq install -y --no-install-recommends $missing \
        </dev/null >/dev/null || die "cannot install$missing"
}

# build PRESET [TARGET...]: configures and builds in build/PRESET, quietly unless it fails.
build() {
    preset=$1
    shift
    say "Building $preset"
    mkdir -p "$root/build/wine" # as this user, also where the 32-bit prefix below it needs root
    [ -w "$root/build" ] && { [ ! -e "$root/build/$preset.log" ] || [ -w "$root/build/$preset.log" ]; } ||
        die "$root/build belongs to another user: remove it, or run this as that user"
    (cd "$root" && cmake --preset "$preset") >"$root/build/$preset.log" 2>&1 ||
        { cat "$root/build/$preset.log"; die "cannot configure $preset"; }
    [ $# -eq 0 ] || set -- --target "$@"
    (cd "$root" && cmake --build --preset "$preset" "$@") >>"$root/build/$preset.log" 2>&1 ||
        { grep -v '^\[' "$root/build/$preset.log" | tail -60; die "cannot build $preset"; }
}
