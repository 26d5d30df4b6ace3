# Sourced by the other scripts: installs the Debian packages the build and
# the tests need, and only those that are missing.

RBZ_PACKAGES=(cmake g++ make libcurl4-openssl-dev libncurses-dev libgtest-dev python3 openssl
              libxml2-utils dpkg-dev file groff-base man-db bash-completion
              nlohmann-json3-dev python3-jsonschema jq
              libmicrohttpd-dev libyaml-cpp-dev pkgconf prometheus)

rbz_install_missing() {
    local missing=() p
    for p in "${RBZ_PACKAGES[@]}"; do
        dpkg -s "$p" 2>/dev/null | grep -q '^Status: install ok installed' || missing+=("$p")
    done
    [ "${#missing[@]}" -eq 0 ] && return 0
    local sudo=()
    [ "$(id -u)" -eq 0 ] || sudo=(sudo)
    echo "Installing: ${missing[*]}"
    "${sudo[@]}" apt-get update
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y "${missing[@]}"
}

# The build directory: build/ at the top of the tree unless RBZ_BUILD_DIR
# names another (relative to the top of the tree).
rbz_build_dir() {
    local root="$1" dir="${RBZ_BUILD_DIR:-build}"
    case "$dir" in
        /*) echo "$dir" ;;
        *) echo "$root/$dir" ;;
    esac
}
