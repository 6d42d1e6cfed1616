# shellcheck shell=bash
# Source packages of Debian for deps/build.sh; sourced. They come from the mirrors this machine already uses, checked
# against Debian's signatures by apt. The machine's own configuration is read and never changed.

# The machine's package sources with every "deb" turned into "deb-src", both formats, as files in folder $1.
sources_write_lists() {
    local folder=$1 file name
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list /etc/apt/sources.list.d/*.sources; do
        [[ -r $file ]] || continue
        name=$(basename "$file")
        [[ $name == sources.list ]] && name=main.list
        case $file in
            *.sources) sed -E 's/^Types:.*/Types: deb-src/' "$file" ;;
            *) sed -nE 's/^[[:space:]]*deb(-src)?[[:space:]]/deb-src /p' "$file" | sort -u ;;
        esac >"$folder/$name"
    done
}

# sources_apt FOLDER TOOL ARGS...: an apt tool over the temporary lists in FOLDER.
sources_apt() {
    local folder=$1 tool=$2
    shift 2
    "$tool" -qq -o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts="$folder/lists.d" \
        -o Dir::State::Lists="$folder/lists" -o Dir::Cache="$folder/cache" \
        -o APT::Sandbox::User="$(id -un)" -o Acquire::Languages=none "$@"
}

# Prepares FOLDER for sources_get: the lists and their indexes.
sources_update() {
    local folder=$1
    mkdir -p "$folder/lists.d" "$folder/lists/partial" "$folder/cache/archives/partial"
    sources_write_lists "$folder/lists.d"
    # A third party's list without sources makes apt complain; what counts is whether the packages are found.
    sources_apt "$folder" apt-get update || true
    [[ -n $(sources_versions "$folder" glib2.0 2.74.6) ]] ||
        { echo "No Debian mirror of this machine offers the source packages." >&2; return 1; }
}

# The versions on offer of a source package with a given upstream version, the newest Debian revision first.
sources_versions() {
    local folder=$1 package=$2 upstream=$3
    sources_apt "$folder" apt-cache showsrc --only-source "$package" | sed -n 's/^Version: //p' |
        awk -v want="$upstream" 'index($0, want) == 1 && substr($0, length(want) + 1) ~ /^[-+~]/' | sort -ruV
}

# sources_get FOLDER PACKAGE UPSTREAM TARGET [OPTION]: downloads a source package and unpacks it, with Debian's patches,
# as the folder TARGET; OPTION goes to dpkg-source. A revision that a mirror lists but no longer has is passed over for the next older one.
sources_get() {
    local folder=$1 package=$2 upstream=$3 target=$4 option=${5:---no-check} version
    for version in $(sources_versions "$folder" "$package" "$upstream"); do
        rm -rf "$folder/download"
        mkdir "$folder/download"
        if (cd "$folder/download" && sources_apt "$folder" apt-get source --download-only "$package=$version"); then
            echo "unpacking $package $version"
            dpkg-source --no-check --no-copy "$option" -x "$folder"/download/*.dsc "$target"
            rm -rf "$folder/download"
            return 0
        fi
        echo "$package $version cannot be downloaded"
    done
    echo "No version $upstream of the source package $package could be downloaded." >&2
    return 1
}
