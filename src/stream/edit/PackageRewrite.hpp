#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "bex/stream/EditOptions.hpp"
#include "stream/ar/ArWriter.hpp"
#include "stream/base/ProgressMeter.hpp"
#include "stream/codec/CompressingSink.hpp"
#include "stream/edit/ControlEdit.hpp"
#include "stream/edit/SourcePackage.hpp"
#include "stream/system/AtomicFile.hpp"
#include "stream/verify/PayloadCheck.hpp"

namespace bex::stream {

/// One writing of a changed package. Call one of its functions, once.
class PackageRewrite {
public:
    /// `control` is up to date; both must outlive this. Throws StreamError (`inputOutput`) as AtomicFile.
    PackageRewrite(const SourcePackage& source, const ControlEdit& control, const std::string& path);

    /// As PackageEditor::write().
    EditResult edit();
    /// As PackageEditor::repack(). `index`: end the payload with an index.
    EditResult repack(const CompressionSettings& settings, bool index);

private:
    template <typename WriteControl, typename WriteData>
    void writeMembers(WriteControl writeControl, WriteData writeData);
    void copyMember(const Member& member);
    void addControl(const Member& old, const CompressionSettings& settings,
                    const std::function<void(Sink& out)>& writeTar);
    void repackData(PackageStream& stream, CompressionSettings settings, bool index);
    void checkSourcePayload(PackageStream& stream, PayloadDepth depth,
                            const std::function<void(const Entry&)>& onEntry = nullptr) const;
    std::string digestOf(int descriptor, const std::string& name, std::uint64_t offset, std::uint64_t size) const;
    void readBack(bool ofTar);
    void finish();

    const SourcePackage& source_;
    const ControlEdit& control_;
    const std::string path_;
    const bool wantsDigests_;
    const bool inPlace_;
    AtomicFile out_;
    ArWriter package_;                    // into out_
    std::optional<ProgressMeter> meter_;  // of the copying; none where the reading counts
    Member newData_;                      // the data member as it is written
    EditResult result_;
};

}  // namespace bex::stream
