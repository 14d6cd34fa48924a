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
