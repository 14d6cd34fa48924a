"""What the tests of repositories share: packages, a throw-away repository, and two clients: apt, and a model of one
that reads by digest alone."""

import gzip
import hashlib
import lzma
import os
import re
import shutil
import subprocess
import tempfile
import unittest

BEX = os.environ["BEX"]
DATE = 1700000000
HAS = {name: shutil.which(name) is not None for name in ("apt-get", "gpg", "gpgv", "sqop", "nginx", "zstd")}


def clean_environment():
    return {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "HOME": "/nonexistent"}


def run(*command, check=True, **options):
    """The finished process; its output is text."""
    options.setdefault("env", clean_environment())
    done = subprocess.run(command, capture_output=True, text=True, check=False, **options)
    if check and done.returncode != 0:
        raise AssertionError(f"{command} ended with {done.returncode}: {done.stdout}{done.stderr}")
    return done


def read(path):
    with open(path, "rb") as file:
        return file.read()


def snapshot(root):
    """Every file below the directory: what it is, and when it was written."""
    found = {}
    for base, _, names in os.walk(root):
        for name in names:
            path = os.path.join(base, name)
            status = os.lstat(path)
            found[os.path.relpath(path, root)] = (status.st_ino, status.st_mtime_ns, status.st_size)
    return found


def unpacked(name, data):
    if name.endswith(".gz"):
        return gzip.decompress(data)
    if name.endswith(".xz"):
        return lzma.decompress(data)
    if name.endswith(".zst"):
        return subprocess.run(["zstd", "-dc"], input=data, capture_output=True, check=True).stdout
    return data


def release_of(suite):
    """The Release text that clients believe, and its list of indexes: path to (digest, size)."""
    path = os.path.join(suite, "InRelease")
    text = read(path if os.path.exists(path) else os.path.join(suite, "Release")).decode()
    listed = re.findall(r"^ ([0-9a-f]{64}) +(\d+) (\S+)$", text, re.M)
    return text, {name: (digest, int(size)) for digest, size, name in listed}


def client_view(root, suite="stable"):
    """The packages of a suite as (name, version, architecture), read as apt reads them: by digest, from by-hash, each
    index and each package's file compared with what is promised. Fails where anything is missing or other."""
    directory = os.path.join(root, "dists", suite)
    seen = set()
    for name, (digest, size) in release_of(directory)[1].items():
        if name.endswith("/Packages"):
            continue
        data = read(os.path.join(directory, os.path.dirname(name), "by-hash/SHA256", digest))
        assert (len(data), hashlib.sha256(data).hexdigest()) == (size, digest), name
        if "/Packages" not in name:
            continue
        for stanza in unpacked(name, data).decode().split("\n\n"):
            fields = dict(re.findall(r"^([A-Za-z0-9-]+): (.*)$", stanza, re.M))
            if not fields:
                continue
            package = read(os.path.join(root, fields["Filename"]))
            assert (len(package), hashlib.sha256(package).hexdigest()) == (int(fields["Size"]), fields["SHA256"])
            seen.add((fields["Package"], fields["Version"], fields["Architecture"]))
    return seen


class RepositoryCase(unittest.TestCase):
    def setUp(self):
        # In memory where that is possible: a test that waits for a busy disk's syncs shows nothing that this does not.
        memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
        folder = tempfile.TemporaryDirectory(prefix="bex-repo-", dir=memory)
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        os.mkdir(self.path("tmp"))
        self.repo = self.path("repo")

    def path(self, *parts):
        return os.path.join(self.folder, *parts)

    def package(self, name, version="1.0", arch="all", text="hello\n", file=None, fields=()):
        """Builds a small package and gives its path."""
        tree = self.path("tree-" + name)
        shutil.rmtree(tree, ignore_errors=True)
        os.makedirs(os.path.join(tree, "usr/share/doc", name))
        with open(os.path.join(tree, "usr/share/doc", name, "README"), "w", encoding="utf-8") as out:
            out.write(text)
        target = self.path(file or f"{name}_{version.replace(':', '-')}_{arch}.deb")
        run(BEX, "build", tree, target, "--name", name, "--version", version, "--arch", arch, "--maintainer",
            "Ann Lee <ann@example.org>", "--description", "a test", *fields,
            env={**clean_environment(), "SOURCE_DATE_EPOCH": "1000000000"})
        return target

    def bex(self, verb, *arguments, **options):
        return run(BEX, "repo", verb, self.repo, *arguments, cwd=self.folder, **options)

    def init(self, *arguments):
        self.bex("init", "--arch", "amd64", *arguments)

    def publish(self, *arguments, **options):
        return self.bex("publish", *arguments, **options)

    def refused(self, verb, *arguments):
        """The message of a command that must fail and leave the repository as it was."""
        before = snapshot(self.repo)
        done = self.bex(verb, *arguments, check=False)
        self.assertNotEqual(done.returncode, 0)
        self.assertEqual({**snapshot(self.repo), ".bex/lock": None}, {**before, ".bex/lock": None})
        return done.stderr

    def gpg_key(self):
        """Makes a key; gives the environment to sign with it, and the file that apt believes."""
        home = self.path("gpg")
        os.mkdir(home, 0o700)
        environment = {**clean_environment(), "GNUPGHOME": home}
        self.addCleanup(subprocess.run, ["gpgconf", "--kill", "all"], env=environment, check=False)
        run("gpg", "--batch", "--quiet", "--passphrase", "", "--quick-gen-key", "t@example.org", "ed25519",
            env=environment)
        keyring = self.path("keyring.gpg")
        run("gpg", "--batch", "--output", keyring, "--export", env=environment)
        return environment, keyring


class Apt:
    """apt in a root of its own that knows one repository."""

    def __init__(self, root, source, arch="amd64"):
        self.root = root
        for folder in ("etc/apt/preferences.d", "etc/apt/apt.conf.d", "etc/apt/trusted.gpg.d",
                       "var/lib/apt/lists/partial", "var/cache/apt/archives/partial", "var/lib/dpkg/info",
                       "var/lib/dpkg/updates", "var/log/apt"):
            os.makedirs(os.path.join(root, folder), exist_ok=True)
        with open(os.path.join(root, "var/lib/dpkg/status"), "w", encoding="utf-8"):
            pass
        with open(os.path.join(root, "etc/apt/sources.list"), "w", encoding="utf-8") as out:
            out.write(source + "\n")
        self.options = ["-o", f"Dir={root}", "-o", f"Dir::State::status={root}/var/lib/dpkg/status",
                        "-o", f"Dir::Etc::sourceparts={root}/none", "-o", "APT::Sandbox::User=root",
                        "-o", f"APT::Architecture={arch}", "-o", "APT::Architectures=" + arch,
                        "-o", f"DPkg::Options::=--root={root}", "-o", "DPkg::Options::=--force-not-root",
                        "-o", "Acquire::Languages=none", "-o", "Dpkg::Use-Pty=0"]

    def __call__(self, *arguments, **options):
        environment = {**clean_environment(), "APT_CONFIG": "/dev/null", "DEBIAN_FRONTEND": "noninteractive"}
        return run("apt-get", "-q", "-y", *self.options, *arguments, env=environment, cwd=self.root, **options)
