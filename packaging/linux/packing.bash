# What the making of our Debian packages has in common. Whoever sources it is at the top of the checkout and has said the name of
# the package, its version, the folders $build and $out, and what $product is called in its bill of materials.
# shellcheck shell=bash
: "${name:?}" "${product:?}" "${version:?}" "${build:?}" "${out:?}" "${SOURCE_DATE_EPOCH:?}"
architecture=$(dpkg --print-architecture)
package=${name}_${version}_$architecture
root=$build/$name
documents=$root/usr/share/doc/$name
programs=()

# usage: add_program FILE NAME
add_program() {
    install -D -m 755 "$1" "$root/usr/bin/$2"
    strip --remove-section=.comment --remove-section=.note "$root/usr/bin/$2"
    programs+=("$root/usr/bin/$2")
}

# usage: add_packed FILE PATH      FILE may be - for standard input
add_packed() {
    mkdir -p "$(dirname "$root/$2")"
    cat -- "$1" | gzip -9 -n >"$root/$2.gz"
}

# usage: add_changelog WHAT
add_changelog() {
    add_packed - "usr/share/doc/$name/changelog" <<CHANGES
$name ($version) stable; urgency=medium

  * $1

 -- Velmo Games <launcher@velmogames.example>  $(date -u -R -d "@$SOURCE_DATE_EPOCH")
CHANGES
}

# usage: license NAME FILE     a paragraph of the copyright file
license() { printf '\nLicense: %s\n' "$1"; sed 's/[[:space:]]*$//; s/^$/./; s/^/ /' "$2"; }

# usage: pack DEPENDS <REST      packs what lies in $root. Besides what the programs are linked with, the package depends on
# DEPENDS, in the words of Debian's field; REST are the lines of its control file that no other package has.
pack() {
    local depends list size
    # The libraries that the programs need, by the packages that they come from; their plugins for X11, TLS and JPEG are in
    # the same packages. The tool wants a source package's folder around it.
    mkdir -p "$build/shlibs-$name/debian"
    printf 'Source: %s\n\nPackage: %s\nArchitecture: %s\n' "$name" "$name" "$architecture" >"$build/shlibs-$name/debian/control"
    depends=$(cd "$build/shlibs-$name" && dpkg-shlibdeps -O "${programs[@]/#/-e}" | sed -n 's/^shlibs:Depends=//p')
    depends="$depends${1:+, $1}"

    readarray -t list <<<"${depends//, /$'\n'}"
    python3 packaging/bill-of-materials "$product" linux "$version" "$root" "${documents#"$root/"}/$package.spdx.json" \
        "${list[@]}" >"$out/$package.spdx.json"
    install -m 644 "$out/$package.spdx.json" -t "$documents"

    # The sum of the files: what a folder takes by itself, each file system says otherwise.
    size=$(find "$root" -type f -printf '%s\n' | awk '{ sum += $1 } END { print int((sum + 1023) / 1024) }')
    mkdir "$root/DEBIAN"
    {
        cat <<CONTROL
Package: $name
Version: $version
Architecture: $architecture
Maintainer: Velmo Games <launcher@velmogames.example>
Installed-Size: $size
Depends: $depends
CONTROL
        cat
    } >"$root/DEBIAN/control"
    (cd "$root" && find usr -type f -print0 | sort -z | xargs -0 md5sum >DEBIAN/md5sums)
    chmod -R u=rwX,go=rX "$root"
    find "$root" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
    dpkg-deb --root-owner-group -Zxz --build "$root" "$out/$package.deb"
}
