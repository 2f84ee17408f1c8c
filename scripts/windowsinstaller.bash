# Makes an installer for Windows; sourced by the scripts that do, after common.bash.

# commands_of_removal STAGE: for each file and folder there, deepest first, in the installer's words.
commands_of_removal() {
    # shellcheck disable=SC2016  # makensis expands it
    (cd "$1" && find . -mindepth 1 -depth \
        -type f -printf 'Delete "$INSTDIR/%P"\n' -o -type d -printf 'RMDir "$INSTDIR/%P"\n') |
        sed 's,/,\\,g'
}

# make_installer STAGE INSTALLER: of all that is in the folder STAGE.
make_installer() {
    commands_of_removal "$1" >"$2.nsh"
    makensis -INPUTCHARSET UTF8 -V2 -WX -DSTAGE="$1" -DREMOVE="$2.nsh" -DRESULT="$2" \
        build/windows/packaging/windows/installer.nsi || fail "makensis could not make the installer; see above."
    rm "$2.nsh"
}
