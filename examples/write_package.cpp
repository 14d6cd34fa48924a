#include <bex/BexException.hpp>
#include <bex/MemoryMappedFile.hpp>
#include <bex/PackageManagerFactory.hpp>
#include <bex/ZRBex.hpp>

#include <iostream>
#include <memory>

int main() {
    try {
        const std::unique_ptr<bex::PackageManager> package(bex::PackageManagerFactory().createDebPackageManager());
        package->open("site.bex");          // nothing there yet: a new package begins
        package->add("public", "var/www");  // a directory and all below it, or one file
        package->setPackageName("site");
        package->setVersion("1.0");
        package->setMaintainer("Ann Lee <ann@example.org>");
        package->setDescription("A small web site");
        package->setEssential("no");
        package->close();  // writes site.bex
        for (const FileOnDisk* file : static_cast<bex::ZRBex&>(*package).getFilesOnDisk()) {
            delete file;  // ours, see the table of owners
        }
    } catch (const bex::BexException& failure) {
        std::cerr << failure.getMessage() << '\n';
        return 1;
    }
}
