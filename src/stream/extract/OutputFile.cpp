#include "stream/extract/OutputFile.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "stream/system/WriteFully.hpp"

namespace bex::stream {

namespace {

int create(System& system, int directory, const char* name) {
    // Nobody else's until it is complete. O_EXCL opens nothing that stands there, be it a link or a FIFO.
    // guard: what stands there is not written through
    return system.openat(directory, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
}

}  // namespace

OutputFile::OutputFile(const ExtractContext& context, int directory, const char* name)
    : context_(context), name_(context, directory, name, [&](const char* free) {
          file_ = Descriptor(create(context.system, directory, free), context.system);
          return static_cast<bool>(file_);
      }) {}

void OutputFile::write(std::string_view bytes) {
    if (!writeFully(context_.system, file_.get(), bytes)) {
        context_.place.failSystem("write", errno);
    }
}

void OutputFile::finish(const RestoredAttributes& attributes) {
    // Through the descriptor, so that no other file can be meant, and before a rename shows it to others.
    restore(attributes, file_.get(), context_);
    // Some file systems tell only here that the bytes did not arrive.
    if (context_.system.close(file_.release()) != 0) {  // guard: a close that fails is told
        context_.place.failSystem("write", errno);
    }
    name_.settle();
}

}  // namespace bex::stream
