# Shared by encode.sh and test.sh, which source it.
# shellcheck shell=bash

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

say() { echo "== $*" >&2; }
die() {
    echo "${0##*/}: $*" >&2
    exit 1
}

# PACKAGE...: installs those that this Debian does not have yet.
require_packages() {
    local package missing=() as_root=()
    if ! command -v apt-get >/dev/null; then
        say "no apt-get here; what Debian calls $* has to be there already"
        return
    fi
    for package; do
        [[ $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) == installed ]] ||
            missing+=("$package")
    done
    ((${#missing[@]})) || return 0
    if ((EUID)); then
        command -v sudo >/dev/null || die "as root, please: apt-get update && apt-get install ${missing[*]}"
        as_root=(sudo)
    fi
    say "installing ${missing[*]}"
    as_root+=(env DEBIAN_FRONTEND=noninteractive apt-get -qq)
    "${as_root[@]}" update || say "apt-get update failed; trying with the lists as they are"
    "${as_root[@]}" install -y --no-install-recommends "${missing[@]}" </dev/null >/dev/null
}

# The C and C++ sources, by their paths from the top.
sources() {
    (cd "$root" && find -- * -name 'build*' -prune -o -regex '.*\.\(cpp\|hpp\|h\|c\)' -print)
}

# FOLDER: a new copy there of what belongs to the project, as it is here: with git all but ignored files, without it
# all but builds.
copy_tree() {
    rm -rf "$1"
    mkdir -p "$1"
    (
        cd "$root" || exit
        if git rev-parse --git-dir >/dev/null 2>&1; then
            git ls-files -z --cached --others --exclude-standard
        else
            find . \( -name .git -o -name build -o -name dist -o -name '*.egg-info' -o -name __pycache__ \) -prune \
                -o -type f -printf '%P\0'
        fi | while IFS= read -r -d '' file; do
            [[ ! -e $file ]] || printf '%s\0' "$file" # git knows files that were deleted here
        done | xargs -0 cp -P --parents -t "$1"
    )
}

# shellcheck disable=SC2034 # used by the scripts
build_packages=(g++ cmake ninja-build libcli11-dev libpng-dev nlohmann-json3-dev)
