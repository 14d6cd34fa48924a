#include "stream/extract/Symlink.hpp"

#include "stream/extract/PendingFile.hpp"

namespace bex::stream {

bool makeSymlink(const ExtractContext& context, int directory, const char* name, const std::string& target,
                 const RestoredAttributes& attributes) {
    PendingFile link(context, directory, name, [&](const char* free) {
        return context.system.symlinkat(target.c_str(), directory, free) == 0;
    });
    if (link.kept()) {
        return false;
    }
    restoreLink(attributes, directory, link.current(), context);
    link.settle();
    return true;
}

}  // namespace bex::stream
