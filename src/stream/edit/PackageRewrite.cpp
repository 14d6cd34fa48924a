#include "stream/edit/PackageRewrite.hpp"

#include <algorithm>
#include <utility>
#include <vector>

#include "stream/ar/ArFormat.hpp"
#include "stream/control/Sha256.hpp"
#include "stream/index/IndexBuilder.hpp"
#include "stream/verify/PackageChecks.hpp"
#include "stream/writer/ControlArchiveWriter.hpp"
#include "stream/writer/Notes.hpp"

namespace bex::stream {

namespace {

constexpr std::size_t kCopiedBytes = std::size_t{32} << 20;  // between two looks at the progress
constexpr std::size_t kPieceBytes = std::size_t{1} << 20;

bool isSignature(const Member& member) {
    // Signatures of a package are members such as "_gpgorigin"; they cover the bytes of the other members.
    return member.name.compare(0, 4, "_gpg") == 0;
}

Finding signatureNote(const Member& member) {
    return {Severity::warning, Place("")
                                   .in(member.name)
                                   .record(ErrorKind::invalidInput, "member-signature",
                                           "left out: a signature is not valid for a changed package")};
}

/// Compressed as before; bzip2, which no dpkg-deb reads there, becomes gzip.
Compression writtenFor(Compression compression) {
    return compression == Compression::bzip2 ? Compression::gzip : compression;
}

std::string memberName(const char* stem, Compression compression) {
    return stem + std::string(suffixOf(compression));
}

/// Appends to the package and refuses more than a member can have.
class MemberSink final : public Sink {
public:
    MemberSink(ArWriter& package, const std::string& name) : package_(package), name_(name) {}
    void write(const char* data, std::size_t size) override {
        // bytes_ is at most the limit, so that the difference cannot wrap.
        if (size > kMostMemberBytes - bytes_) {
            throw memberTooLarge(name_);
        }
        bytes_ += size;
        package_.write({data, size});
    }
    std::uint64_t bytes() const noexcept { return bytes_; }

private:
    ArWriter& package_;
    const std::string& name_;
    std::uint64_t bytes_ = 0;
};

/// Counts the bytes of an archive on their way to `out`, and hands them to `digest`, too, unless that is null.
class ArchiveSink final : public Sink {
public:
    ArchiveSink(Sink* digest, Sink& out) : digest_(digest), out_(out) {}
    void write(const char* data, std::size_t size) override {
        bytes_ += size;
        if (digest_ != nullptr) {
            digest_->write(data, size);
        }
        out_.write(data, size);
    }
    std::uint64_t bytes() const noexcept { return bytes_; }

private:
    Sink* digest_;
    Sink& out_;
    std::uint64_t bytes_ = 0;
};

}  // namespace

PackageRewrite::PackageRewrite(const SourcePackage& source, const ControlEdit& control, const std::string& path)
    : source_(source),
      control_(control),
      path_(path),
      wantsDigests_(source.options().digests || source.options().check),
      inPlace_(source.isAt(path)),
      out_(path, source.system()),
      package_(out_) {
    // inPlace_ was found before anything is written; finish() asks again.
    result_.notes = control.notes();
}

void PackageRewrite::checkSourcePayload(PackageStream& stream, PayloadDepth depth,
                                        const std::function<void(const Entry&)>& onEntry) const {
    checkPayload(stream, control_.members(), source_.controlPlace(), source_.dataPlace(), depth, onEntry);
}

void PackageRewrite::addControl(const Member& old, const CompressionSettings& settings,
                                const std::function<void(Sink& out)>& writeTar) {
    package_.addMember(memberName("control.tar", settings.compression), compressed(writeTar, settings), old.mtime);
}

/// Every member in its place, all but two of them as they are.
template <typename WriteControl, typename WriteData>
void PackageRewrite::writeMembers(WriteControl writeControl, WriteData writeData) {
    for (const Member& member : source_.members()) {
        // Control and data are known by their offsets, which no other member has.
        if (isSignature(member)) {
            result_.notes.push_back(signatureNote(member));
        } else if (member.offset == source_.controlMember().offset) {
            writeControl(member);
        } else if (member.offset == source_.dataMember().offset) {
            writeData(member);
        } else {
            copyMember(member);
        }
    }
    result_.packageBytes = package_.size();
}

/// Its header, too.
void PackageRewrite::copyMember(const Member& member) {
    // ArReader has read a header of that length before the contents: no wrap.
    std::uint64_t offset = member.offset - kArHeaderBytes;
    for (std::uint64_t left = member.size + kArHeaderBytes; left != 0;) {
        const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(left, kCopiedBytes));
        out_.copy(source_.descriptor(), source_.path(), offset, part);
        offset += part;
        left -= part;
        package_.count(part);
        if (meter_) {
            meter_->add(part, "");
        }
    }
    // The byte between two members is not copied: it may have been any.
    package_.endMember();
}

EditResult PackageRewrite::edit() {
    // First: what is refused is not written at all.
    checkControlMembers(control_.members(), source_.controlPlace());
    if (control_.hasNewConffiles()) {  // only the payload shows whether it has them
        checkSourcePayload(*source_.read(), PayloadDepth::entries);
    }
    meter_.emplace(source_.options().progress, source_.dataMember().size);
    const auto writeControl = [this](const Member& member) {
        // Byte for byte, so that even the compression of an unchanged archive stays.
        if (!control_.hasChanged()) {
            copyMember(member);
            return;
        }
        CompressionSettings settings;
        settings.compression = writtenFor(member.compression);
        settings.level = levelsOf(settings.compression).usual;
        addControl(member, settings, [this](Sink& out) { control_.write(out); });
    };
    const auto writeData = [this](const Member& member) {
        newData_ = member;
        // Where it will be read back, behind the header that copyMember() copies.
        newData_.offset = package_.size() + kArHeaderBytes;
        copyMember(member);
    };
    writeMembers(writeControl, writeData);
    result_.payloadCopied = true;
    // Of the stored bytes: the member is copied as it is.
    if (wantsDigests_) {
        const Member& data = source_.dataMember();
        result_.digestBefore = digestOf(source_.descriptor(), source_.path(), data.offset, data.size);
    }
    // Before the rename: the last call may still cancel.
    meter_->finish();
    readBack(false);
    finish();
    return std::move(result_);
}

EditResult PackageRewrite::repack(const CompressionSettings& settings, bool index) {
    const std::unique_ptr<PackageStream> stream = source_.read();
    // The progress is that of the reading, whose total is the installed size.
    stream->expect(checkControlMembers(control_.members(), source_.controlPlace()));
    const auto writeControl = [&](const Member& member) {
        addControl(member, settings, [&](Sink& out) {
            if (control_.hasChanged()) {
                control_.write(out);
            } else {
                stream->copyControl(out);
            }
        });
    };
    const auto writeData = [&](const Member&) { repackData(*stream, settings, index); };
    writeMembers(writeControl, writeData);
    readBack(true);
    finish();
    return std::move(result_);
}

/// The length of the member, which its header begins with, is known last.
void PackageRewrite::repackData(PackageStream& stream, CompressionSettings settings, bool index) {
    const std::uint64_t header = package_.size();
    newData_ = source_.dataMember();
    newData_.name = memberName("data.tar", settings.compression);
    newData_.compression = settings.compression;
    newData_.offset = header + kArHeaderBytes;
    // A header with the length 0 holds the place. If anything fails before it is rewritten, the file is never
    // renamed.
    package_.beginMember(newData_.name, 0, newData_.mtime);

    Sha256 digest;
    MemberSink member(package_, newData_.name);
    IndexBuilder builder;  // stays without blocks, and so makes nothing, unless gzip is written in blocks
    std::function<void(const Entry&)> onEntry;
    if (index && settings.compression == Compression::gzip) {
        settings.onBlock = [&builder](std::uint64_t memberBytes, std::uint64_t unpackedBytes) {
            builder.addBlock(memberBytes, unpackedBytes);
        };
        onEntry = [&](const Entry& entry) { builder.add(entry, stream.extent()); };
    }
    // The sinks refer to one another: each is declared after what it writes to, and destroyed before it.
    CompressingSink compressing(member, settings);
    ArchiveSink tar(wantsDigests_ ? &digest : nullptr, compressing);
    stream.copyPayloadTo(tar);
    // Reads the payload to its end, which drives the copy.
    checkSourcePayload(stream, PayloadDepth::contents, onEntry);
    // Only after the last byte of the archive: the index follows the compressed stream, and takes in its last
    // block.
    compressing.finish();
    const std::string chain = builder.takeChain();
    member.write(chain.data(), chain.size());

    newData_.size = member.bytes();
    // The same number of bytes as before: the header's size is fixed.
    out_.rewrite(header, memberHeader(newData_.name, newData_.size, newData_.mtime));
    package_.endMember();
    result_.digestBefore = wantsDigests_ ? digest.hexDigest() : "";
    Notes notes(result_.notes);
    notes.takePayload(newData_.size, tar.bytes());
    notes.takeIndex(builder.unpackedBytes());
}

std::string PackageRewrite::digestOf(int descriptor, const std::string& name, std::uint64_t offset,
                                     std::uint64_t size) const {
    // Bounded by the member: bytes after it are not read.
    FileSource bytes(OpenFile{descriptor, {}}, name, source_.system(), offset, size);
    Sha256 digest;
    std::vector<char> piece(kPieceBytes);
    std::uint64_t at = 0;
    while (const std::size_t count = bytes.readAt(at, piece.data(), piece.size())) {
        digest.write(piece.data(), count);
        at += count;
    }
    return digest.hexDigest();
}

/// Reads what was written, as far as that was asked for. `ofTar`: the digest is that of the payload's tar archive.
void PackageRewrite::readBack(bool ofTar) {
    if (!wantsDigests_) {
        return;
    }
    const EditOptions& options = source_.options();
    // strict: or what passes here might be refused by dpkg-deb
    const std::unique_ptr<PackageStream> written = source_.read(out_.descriptor(), path_, options.check);
    Sha256 digest;
    if (options.check) {
        written->copyPayloadTo(digest);
        const std::vector<ControlMember> control = written->readControl();
        const Place place = source_.place(path_, source_.controlMember());
        written->expect(checkControlMembers(control, place));
        checkPayload(*written, control, place, source_.place(path_, newData_), PayloadDepth::contents);
    } else if (ofTar) {
        written->copyPayload(digest);
    }
    result_.digestAfter =
        ofTar ? digest.hexDigest() : digestOf(out_.descriptor(), path_, newData_.offset, newData_.size);
    if (result_.digestAfter != result_.digestBefore) {
        Place(path_).in(newData_.name).fail(ErrorKind::damaged, "differs", "differs from its source");
    }
}

void PackageRewrite::finish() {
    // Somebody may have put a new version there, which a rename would silently undo.
    if (inPlace_ && !source_.isAt(path_)) {  // guard: packages that are replaced while they are edited
        Place(path_).fail(ErrorKind::inputOutput, "was replaced while it was edited");
    }
    // As late as possible: what was copied before is then of one state of the file.
    source_.requireUnchanged();
    if (inPlace_) {
        out_.takeAttributes(source_.status());
    }
    // Last. Until here the old file is untouched.
    out_.commit();
}

}  // namespace bex::stream
