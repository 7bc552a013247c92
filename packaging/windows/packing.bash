# What the making of our packages for Windows has in common. Whoever sources it is at the top of the checkout and has said the
# version, the folders $stage, $build, $qt and $out, and of the package its $title, $name and what $product is called in its bill
# of materials.
# shellcheck shell=bash
: "${title:?}" "${name:?}" "${product:?}" "${version:?}" "${stage:?}" "${build:?}" "${qt:?}" "${out:?}" "${SOURCE_DATE_EPOCH:?}"
bill=$name-$version-windows-x64.spdx.json

# usage: ship FOLDER FILE...     into the folder of the stage
ship() {
    mkdir -p "$stage/$1"
    cp "${@:2}" "$stage/$1/"
}

# What every program of ours needs beside it, ready to be signed.
finish_programs() {
    ship . "$qt"/bin/{libgcc_s_seh-1,libstdc++-6,libwinpthread-1}.dll
    ship tls "$qt/plugins/tls/qschannelbackend.dll"
    find "$stage" -name '*.dll' -exec x86_64-w64-mingw32-strip --strip-unneeded {} +
    # Qt would look for plugins in the folder above, too.
    printf '[Paths]\r\nPlugins = .\r\n' >"$stage/qt.conf"
    packaging/windows/sign "$stage" "$title"
}

# usage: ship_licenses FILE...      also those of Qt and, by the lists that Debian keeps of them, of the compiler's run time
ship_licenses() {
    local package
    ship licenses "$@" "$qt"/licenses/{LGPL-3.0-only,GPL-3.0-only,qt6-base-copyright}.txt
    for package in mingw-w64-common gcc-mingw-w64-base; do
        cp "/usr/share/doc/$package/copyright" "$stage/licenses/$package-copyright.txt"
    done
}

# The bill of materials, and the archive, with a folder of its own around the files.
pack() {
    local folder=$name-$version
    chmod -R u=rwX,go=rX "$stage"
    find "$stage" -type f ! -name '*.exe' ! -name '*.dll' -exec chmod 644 {} +
    python3 packaging/bill-of-materials "$product" windows "$version" "$stage" "licenses/$bill" "$qt" >"$out/$bill"
    ship licenses "$out/$bill"
    find "$stage" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
    ln -s "$(basename "$stage")" "$build/$folder"
    (cd "$build" && find "$folder/" | sort | zip -X -q -9 "$out/$folder-windows-x64.zip" -@)
}
