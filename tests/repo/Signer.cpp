// A Stateless OpenPGP tool for tests that count calls: it prints what such a tool prints, with a signature packet
// that no key made. Linked statically, so that the fault shim, which is preloaded, does not serve orders in it.

#include <cstdio>
#include <string>

int main(int argc, char** argv) {
    std::string text;
    for (int c = std::getchar(); c != EOF; c = std::getchar()) {
        text += static_cast<char>(c);
    }
    if (argc > 1 && argv[1] == std::string("inline-sign")) {
        std::printf("-----BEGIN PGP SIGNED MESSAGE-----\nHash: SHA512\n\n%s", text.c_str());
    }
    std::printf("-----BEGIN PGP SIGNATURE-----\n\nwgEE\n-----END PGP SIGNATURE-----\n");
    return 0;
}
