# What every command of a case knows.
umask 022

# The fields that a package needs, as options.
fields=(--name hello --version 1:1.0-1 --arch all --maintainer 'Ann Lee <ann@example.org>' --description 'says hello')

# TREE [OUT] [OPTION...]: a package of the tree with those fields.
build() {
    bex build "${fields[@]}" "$@" >/dev/null
}

# COMMAND ARGUMENTS...: the command with each string of arguments in turn; all have to end alike.
each() {
    local arguments ended status=
    for arguments in "${@:2}"; do
        $1 $arguments
        ended=$?
        [ "${status:=$ended}" = $ended ] || echo "$arguments: ends with $ended, not $status"
    done
    return $status
}

# What depends on the bytes that other libraries' compression makes, blanked out.
blanked() {
    sed -E "s/[0-9a-f]{64}/$(printf %064d 0)/g; s/(\"packageBytes\": ?)[0-9]+/\10/"
}

# A small tree with all that a package may hold.
tree() {
    mkdir -p tree/DEBIAN tree/etc tree/usr/bin
    printf 'x=1\n' >tree/etc/tool.conf
    printf '#!/bin/sh\necho hello\n' >tree/usr/bin/tool
    chmod 755 tree/usr/bin/tool
    ln -f tree/usr/bin/tool tree/usr/bin/twin
    ln -sf tool tree/usr/bin/link
    printf '/etc/tool.conf\n' >tree/DEBIAN/conffiles
    printf '#!/bin/sh\nexit 0\n' >tree/DEBIAN/postinst
    cat >tree/DEBIAN/control <<'END'
Package: hello
Version: 1:1.0-1
Architecture: all
Maintainer: Ann Lee <ann@example.org>
Description: says hello
 with a back\slash
 .
 and an end
END
}

# The tree as hello.bex.
hello() {
    tree && bex build tree hello.bex "$@" >/dev/null
}

# NAME: odd.bex with one file of that name.
odd() {
    mkdir -p odd && printf 'odd\n' >"odd/$1" && build odd odd.bex
}

# TAR: odd.bex with the tar archive as its payload, whatever that holds.
crafted() {
    mkdir none && build none odd.bex --compression none --no-md5sums &&
        ar d odd.bex data.tar && cp "$1" data.tar && ar q odd.bex data.tar
}

# BYTES FILE: the file's first bytes alone.
cut_to() {
    head -c "$1" "$2" >cut.bex
}

# FIELD VALUE...: tells what keeps a package from having that field, for each value.
took() {
    mkdir -p none
    for value in "${@:2}"; do
        build none none.bex --field "$1=$value"
    done
}

# ARGUMENTS...: shows where bex prints, ends or extracts otherwise than dpkg-deb does with these arguments.
alike() {
    local program part
    for program in dpkg-deb bex; do
        rm -rf $program && mkdir $program
        (cd $program && eval "$program $*" >../$program.out 2>/dev/null; echo "status $?" >>../$program.out
            find . -type d -printf '%y %m %P\n' -o ! -name '*.deb' -printf '%y %m %s %Ts %P %l\n' |
                sort >../$program.tree)
    done
    for part in out tree; do
        diff dpkg-deb.$part bex.$part || echo "so differs: $*"
    done
}

# A machine below root, whose package libdemo1 has a library, and prog, which uses it.
machine() {
    local lib=root/usr/lib/libdemo.so.1
    mkdir -p root/usr/lib root/var/lib/dpkg/info
    echo 'int one(void) { return 1; } int two(void) { return 2; }' >lib.c
    echo 'int one(void), two(void); int main(void) { return one() + two(); }' >prog.c
    echo 'V1 { global: one; }; V2 { global: two; } V1;' >map
    cc -shared -nostdlib -fPIC lib.c -o $lib -Wl,-soname,libdemo.so.1,--version-script=map &&
        cc -nostdlib -Wl,-e,main prog.c -o prog $lib
    echo /usr/lib/libdemo.so.1 >root/var/lib/dpkg/info/libdemo1.list
    printf 'libdemo.so.1 libdemo1 #MINVER#\n one@V1 1.0\n two@V2 2.0\n' >root/var/lib/dpkg/info/libdemo1.symbols
}

# [PASSPHRASE]: key.gpg with a secret key that has two subkeys, an expired one and one that signs. gpg knows the key.
signing_key() {
    export GNUPGHOME=$PWD/gnupg
    mkdir -m 700 gnupg
    trap 'gpgconf --homedir "$GNUPGHOME" --kill gpg-agent' EXIT # it would keep the shell's output open for a minute
    echo s2k-count 65536 >gnupg/gpg-agent.conf # to find a larger one takes a second
    new_key() {
        gpg --batch --quiet --no-tty --pinentry-mode loopback --passphrase "$passphrase" "$@" 2>>gnupg/log
    }
    local passphrase=${1-} fingerprint
    new_key --faked-system-time 20200101T000000 --quick-gen-key 'Ann Lee <ann@example.org>' ed25519 cert,sign never
    fingerprint=$(key_fields fpr 10 | head -1)
    new_key --faked-system-time 20200101T000000 --quick-add-key "$fingerprint" ed25519 sign 1d
    new_key --quick-add-key "$fingerprint" ed25519 sign
    new_key --export-secret-keys >key.gpg
}

# RECORD FIELD: that field of these records of the secret keys.
key_fields() {
    gpg --batch --with-colons --list-secret-keys 2>>gnupg/log |
        awk -F: -v record="$1" -v field="$2" '$1 == record { print $field }'
}

# PACKAGE: the contents that its signature covers.
covered() {
    local member
    for member in $(ar t "$1" | grep -v '^_'); do
        ar p "$1" "$member"
    done
}

# PACKAGE MEMBER: what gpg says of the signature, and which of the secret keys made it, counted from 1.
judged() {
    ar p "$1" "$2" >signature
    key_fields fpr 10 >fingerprints
    covered "$1" | gpg --batch --status-fd 1 --verify signature - 2>>gnupg/log | judgement
}

# What gpg's status lines on standard input say of a signature, with the place of the key in the file fingerprints.
judgement() {
    awk '$2 ~ /^(GOOD|BAD|ERR|EXP)/ { print $2 } $2 == "VALIDSIG" { print $3 }' >judgement
    head -1 judgement
    tail -1 judgement | grep -nxFf - fingerprints | cut -d: -f1
}

# PACKAGE MEMBER: the same for a clear-signed text, and the text without its last lines, if these are the digests
# of the package's members.
judged_text() {
    local member
    key_fields fpr 10 >fingerprints
    ar p "$1" "$2" | gpg --batch --status-file status --decrypt >text 2>>gnupg/log
    judgement <status
    for member in $(ar t "$1" | grep -v '^_'); do
        ar p "$1" "$member" >contents
        echo "$(md5sum <contents) $(sha1sum <contents) $(wc -c <contents) $member" | sed 's/  -//g; s/^/\t/'
    done >digests
    tail -3 text | cmp - digests && head -n -3 text
}

# PACKAGE: debsig-verify's answer, with a policy that wants a signature of the origin by this key.
debsig() {
    local id
    id=$(key_fields sec 5)
    mkdir -p policies/$id keyrings/$id
    gpg --batch --export >keyrings/$id/debsig.gpg
    cat >policies/$id/only.pol <<END
<?xml version="1.0"?>
<!DOCTYPE Policy SYSTEM "https://www.debian.org/debsig/1.0/policy.dtd">
<Policy xmlns="https://www.debian.org/debsig/1.0/">
  <Origin Name="Ann Lee" id="$id" Description="Packages of Ann Lee"/>
  <Selection><Required Type="origin" File="debsig.gpg" id="$id"/></Selection>
  <Verification MinOptional="0"><Required Type="origin" File="debsig.gpg" id="$id"/></Verification>
</Policy>
END
    debsig-verify --policies-dir "$PWD/policies" --keyrings-dir "$PWD/keyrings" "$1"
}

# nfpm.yaml with every key of the format, and the files that it names.
reference() {
    local file
    cp "${BASH_ENV%/*}/reference.yaml" nfpm.yaml
    mkdir -p path/to/{local,deb} some/{directory/sub,flat/sub/deep,tree/empty,config/sub,opt/{a,b}-common} scripts
    mkdir -m 700 some/opt/{own,c-common,own/d-common}
    for file in path/to/local/{foo,foo.conf,a.1.gz,b.1.gz,bar.conf} path/to/deb/file.conf path/to/foo prog \
        some/directory/{d1,sub/d2} some/flat/{f1,sub/f2,sub/deep/f3} some/tree/t1 templates .lintian-overrides \
        some/config/{c1,sub/c2} some/opt/{a,b,c}-common/o path/to/local/{foo.mo,copyright}; do
        echo "$file" >"$file"
    done
    for file in scripts/{pre,post}{install,remove}.sh foo.sh config; do
        printf '#!/bin/sh\necho %s "$@"\n' "$file" >"$file"
    done
    cat >changelog.yaml <<'END'
- semver: 0.2.0
  date: 2019-10-19T01:23:45.678Z
  packager: Ann Lee <ann@example.org>
  deb:
    urgency: medium
    distributions: [stable, testing]
  changes:
    - commit: 9a6a8b3
      note: |-
        a new verb

        and why
    - note: a second change
- semver: v0.1.0-rc1
  date: 2019-10-18T16:05:33-07:00
  packager: Ann Lee <ann@example.org>
  changes:
    - note: the first release
END
    signing_key
    DEB_SIGNING_KEY_ID=$(key_fields sec 5)
    export DEB_SIGNING_KEY_ID
    export REPLACE_BLA=r1 PROVIDES_BLA=p1 DEPENDS_NGINX=nginx RECOMMENDS_BLA= CONFLICTS_BLA=c1 NAME=prog
}

# LINES...: nfpm.yaml with the fields that a package needs, and these lines.
describe() {
    printf '%s\n' 'name: hello' 'version: 1.0' 'arch: all' 'maintainer: Ann Lee <ann@example.org>' \
        'description: says hello' "$@" >nfpm.yaml
}

# LINES...: what is wrong with a build file of the lines.
wrong() {
    printf '%b\n' "$@" >b.yaml
    bex build b.yaml
}

# FILE: what the JSON schema of build files finds wrong with it.
valid() {
    python3 - "$1" <<'END'
import json, jsonschema, subprocess, sys, yaml
schema = json.loads(subprocess.run(["bex", "schema"], stdout=subprocess.PIPE, check=True).stdout)
document = json.loads(json.dumps(yaml.safe_load(open(sys.argv[1])), default=str))
for fault in jsonschema.Draft202012Validator(schema).iter_errors(document):
    print(fault.message)
END
}

# EXPRESSION: what is wrong with a build file of the text that it is in Python.
deep() {
    python3 -c "print($1)" >deep.yaml
    bex build deep.yaml
}

# PLAN INFO: where the plan and the package agree, what of the plan is not known yet, and its configuration files.
planned() {
    python3 - "$@" <<'END'
import json, sys
plan, made = (json.load(open(name)) for name in sys.argv[1:])
texts = {file["path"]: file.pop("text", None) for file in plan["control"]}
print(plan["fields"] == made["fields"], plan["control"] == made["control"], repr(texts["./triggers"]))
print(*(path for path, text in texts.items() if text is None))
print(*(entry["path"] for entry in plan["entries"] if entry.get("conffile")))
END
}

# A tree, a unit, and a build file for them with users, temporary files and an own script.
site() {
    mkdir -p packaging dist/usr/bin dist/etc
    printf '[Unit]\nDescription=Site\n[Service]\nExecStart=/usr/bin/site\n[Install]\nWantedBy=multi-user.target\n' |
        tee packaging/site.service >packaging/agent.service
    printf 'u site - "The site" /var/lib/site' >packaging/site.sysusers
    echo 'd /run/site 0755 site site' >packaging/site.tmpfiles
    printf '#!/bin/sh -e\necho "own $*"\nexit 0\n' >packaging/postinst
    printf '#!/bin/sh\n' >dist/usr/bin/site
    chmod 755 dist/usr/bin/site
    ln -f dist/usr/bin/site dist/usr/bin/twin
    ln -sf site dist/usr/bin/link
    echo x >dist/etc/site.conf
    describe 'contents:' '  - { src: dist, dst: /, type: tree }' '  - { dst: /etc/site.conf, type: config }' \
        '  - { dst: /var/lib/site, type: dir, file_info: { mode: 0750, owner: site, group: site } }' \
        'scripts: { postinstall: packaging/postinst }' \
        "systemd: { units: [packaging/site.service], user-units: [packaging/agent.service]${1:+, $1} }" \
        'sysusers: packaging/site.sysusers' 'tmpfiles: packaging/site.tmpfiles'
}

# copyright and changes.yaml, which packages have to bring, and changelog.gz.
documents() {
    printf '%s\n' 'Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/' '' 'Files: *' \
        'Copyright: 2026 Ann Lee' 'License: MIT' ' as is' >copyright
    printf '%s\n' '- semver: 1.0' '  date: 2019-10-19T01:23:45Z' '  packager: Ann Lee <ann@example.org>' \
        '  changes: [{ note: first }]' >changes.yaml
    printf '%s\n' 'hello (1.0) unstable; urgency=low' '' '  * first' '' \
        ' -- Ann Lee <ann@example.org>  Sat, 19 Oct 2019 01:23:45 +0000' | gzip -9n >changelog.gz
}

# root: an empty system for dpkg; helpers: programs that print how they are called.
empty_root() {
    local helper
    mkdir -p root/var/lib/dpkg/{info,updates} helpers
    touch root/var/lib/dpkg/{status,available}
    for helper in systemd-sysusers systemd-tmpfiles deb-systemd-helper deb-systemd-invoke systemctl ldconfig; do
        # Scripts throw the helpers' output away. Nothing was enabled before: deb-systemd-helper answers as it does for
        # a unit that it has never seen.
        printf '#!/bin/sh\necho "%s $*" >&2\n' $helper >helpers/$helper
    done
    chmod 755 helpers/*
}

# ARGUMENTS...: dpkg on that system, as any user; how it calls maintainer scripts, and what these and their helpers
# print, without places.
traced_dpkg() {
    PATH=$PWD/helpers:$PATH:/usr/sbin:/sbin dpkg --root="$PWD/root" --force-not-root --force-depends -D2 \
        --force-script-chrootless --log=/dev/null "$@" 2>&1 | sed -nE "s|$PWD|PLACE|g
            s/^D000002: fork.exec .*[/.]([a-z]+) \\( *(.*[^ ]) *\\)/\\1 \\2/p
            /^(systemd-|deb-systemd-|systemctl|own )|rror/p"
}
