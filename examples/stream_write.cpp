#include <bex/stream/PackageWriter.hpp>
#include <bex/stream/StreamError.hpp>

#include <iostream>

int main() {
    try {
        bex::stream::PackageWriter package;
        package.control().set("Package", "site");
        package.control().set("Version", "1.0");
        package.control().set("Architecture", "all");
        package.control().set("Maintainer", "Ann Lee <ann@example.org>");
        package.control().set("Description", "A small web site");
        package.addTree("public", {"var/www", {}, false});            // walked now, read by write()
        package.addBytes("User-agent: *\n", "var/www/robots.txt");    // from memory
        package.addControlMember("postinst", "#!/bin/sh\nexit 0\n");  // a maintainer script
        const bex::stream::WriteResult result = package.write("site_1.0_all.bex");
        std::cout << result.entries << " entries, " << result.payloadBytes << " bytes\n";
    } catch (const bex::stream::StreamError& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
}
