# Completion of bex(1) for bash.

_bex_options() {
    local common="--json --quiet --verbose --threads --color --progress --limit --header --netrc --timeout"
    common+=" --max-bytes --max-requests --help"
    case $1 in
        build) echo "$common --control --field --name --version --arch --description --maintainer --depends" \
            "--pre-depends --recommends --suggests --enhances --breaks --conflicts --replaces --provides" \
            "--section --priority --homepage --multi-arch --source --file --out --suffix --prefix --exclude" \
            "--add --symlink --dir --stdin --mode --owner --keep-owner --normalize-modes --skip-special" \
            "--script --preinst --postinst --prerm --postrm --config --templates --triggers --conffile" \
            "--conffiles-below --compression --level --from --libdir --sysroot --admindir --ignore-missing" \
            "--strip --no-md5sums --no-index --single-stream --dry-run --check" ;;
        list) echo "$common --long --tree --null --control --index" ;;
        cat) echo "$common --control --index" ;;
        extract) echo "$common --control --index --strip --keep --overwrite --same-owner --keep-setuid --dry-run" ;;
        verify) echo "$common --strict --ignore" ;;
        info) echo "$common --totals --index" ;;
        diff) echo "$common --exclude --times --brief --content" ;;
        report) echo "$common --out" ;;
        edit) echo "$common --out --in-place --set --unset --version-suffix --script --remove-script --conffile" \
            "--allow --check" ;;
        repack) echo "$common --out --in-place --compression --level --for --index --no-index --allow --check" ;;
        filter) echo "$common --out --delete --add --mode --owner --compression --level --allow --check" ;;
        shlibdeps) echo "$common --arch --from --libdir --sysroot --admindir --ignore-missing --format --why" ;;
        "repo scan") echo "$common --cache --records --multiversion --arch --hash --root --type --keep-going" ;;
        "repo merge") echo "$common --records --multiversion --arch --out --suite --component" ;;
        "repo init") echo "$common --suite --codename --component --arch --origin --label --description" ;;
        "repo add") echo "$common --suite --component --copy --link --move --keep --allow" ;;
        "repo list") echo "$common --component --suite" ;;
        "repo remove") echo "$common --component --suite --keep" ;;
        "repo promote") echo "$common --component --from --to" ;;
        "repo publish") echo "$common --suite --sign --signer --signer-timeout --unsigned --compress --contents" \
            "--valid-until --date --keep-generations --html --url --plan" ;;
        "repo verify") echo "$common --suite --keyring --deep --strict" ;;
        "") echo "$common --version" ;;
        *) echo "$common" ;;
    esac
}

# OPTION VERB: the values that the option takes, or nothing.
_bex_values() {
    case $1 in
        --color) echo "auto always never" ;;
        --progress) echo "auto json never" ;;
        --strip) [[ $2 == build ]] && echo "none drop dbgsym" ;;
        --format) echo "field json why" ;;
        --compression | -Z) echo "gzip zstd xz none" ;;
        --hash) echo "md5 sha1 sha512" ;;
        --compress) echo "gz xz zst none" ;;
        --for) echo "debian-11 debian-12" ;;
        --limit) echo "control-bytes= md5sums-bytes= name-bytes= header-bytes= expansion-ratio=" \
            "expansion-free-bytes= xz-memory= zstd-window-log= entries= index-bytes=" ;;
    esac
}

_bex() {
    local verbs="build info field list cat extract verify diff report edit filter repack init schema shlibdeps repo"
    local repo_verbs="scan merge init add list remove promote publish verify"
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} verb="" word values
    # bash takes "--option=value" for three words.
    if [[ $current == = ]]; then
        current=""
    elif [[ $previous == = && $COMP_CWORD -ge 2 ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        if [[ $verb == repo ]]; then
            [[ " $repo_verbs " == *" $word "* ]] && verb="repo $word" && break
        else
            [[ " $verbs " == *" $word "* ]] && verb=$word && [[ $verb != repo ]] && break
        fi
    done
    values=$(_bex_values "$previous" "$verb")
    COMPREPLY=()
    if [[ -n $values ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$values" -- "$current")
    elif [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(_bex_options "$verb")" -- "$current")
    elif [[ -z $verb ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$verbs" -- "$current")
    elif [[ $verb == repo ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$repo_verbs" -- "$current")
    else
        compopt -o filenames 2> /dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
    if [[ ${COMPREPLY[0]-} == *= ]]; then
        compopt -o nospace 2> /dev/null
    fi
}

complete -F _bex bex
