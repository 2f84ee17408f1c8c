# A Debian that has nothing but its base system, to try things in; sourced by the scripts that do, after common.bash.
# It needs root.

# Keeps the base system and the packages that apt fetches.
readonly debian_dir=$PWD/build/debian
readonly root=$debian_dir/root
readonly checkout=$root/nembrahub
readonly suite=bookworm

# in_root COMMAND...: in the new system, with the processes and the fetched packages that belong to it.
in_root() {
    # shellcheck disable=SC2016  # the inner shell expands it
    unshare --mount --pid --fork --kill-child --mount-proc="$root/proc" sh -c '
        mount --bind "$1" "$2/var/cache/apt/archives"
        shift
        exec chroot "$@"' sh "$debian_dir/archives" "$root" \
        env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"
}

# in_checkout COMMAND...: in the new system, where make_checkout has put what is committed here.
in_checkout() {
    # shellcheck disable=SC2016  # the inner shell expands it
    in_root sh -c 'cd /nembrahub && exec "$@"' sh "$@"
}

# Of all that this computer gets from Debian for the suite: "URI CODENAME COMPONENT" a line.
debian_sources() {
    # shellcheck disable=SC2016  # apt-get expands it
    apt-get indextargets --format '$(REPO_URI) $(CODENAME) $(COMPONENT)' 'Created-By: Packages' 'Origin: Debian' |
        awk -v suite="$suite" '($2 == suite || index($2, suite "-") == 1) && $3 == "main"' | sort -u
}

make_base() {
    [[ ! -f $debian_dir/base.tar ]] || return 0
    step "Make a Debian that has nothing but its base system; this takes minutes, but only once"
    rm -rf --one-file-system "$root"
    local mirror
    mirror=$(debian_sources | awk -v suite="$suite" '$2 == suite { print $1; exit }')
    [[ -n $mirror ]] || fail "this computer's apt has no source for Debian $suite."
    debootstrap --variant=minbase "$suite" "$root" "$mirror" >"$debian_dir/debootstrap.log" 2>&1 || {
        tail -n 20 "$debian_dir/debootstrap.log"
        fail "debootstrap could not make it; see above."
    }
    tar --numeric-owner --one-file-system -C "$root" -cf "$debian_dir/base.tar.part" .
    mv "$debian_dir/base.tar.part" "$debian_dir/base.tar"
}

# With the sources and the proxy of this computer.
make_root() {
    mkdir -p "$debian_dir/archives"
    make_base
    step "Unpack a fresh Debian"
    rm -rf --one-file-system "$root"
    mkdir -p "$root"
    tar --numeric-owner -C "$root" -xf "$debian_dir/base.tar"
    debian_sources | sed 's/^/deb /' >"$root/etc/apt/sources.list"
    apt-config dump | grep -E '^Acquire::(https?::Proxy|Check-Valid-Until|Check-Date) ' \
        >"$root/etc/apt/apt.conf.d/90host" || true
    cp /etc/resolv.conf "$root/etc/resolv.conf"
}

make_checkout() {
    make_root
    git clone -q . "$checkout"
}
