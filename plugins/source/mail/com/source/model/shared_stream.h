#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "mapi/mapi_functions.h"
#include "mapi/mapi_interfaces.h"
#include "model/property_backup.h"
#include "vek/core/ref_ptr.h"

namespace plugins::mail_processing {

// A MAPI stream with several users, each of whom has a place of his own in it and finds the stream
// there, wherever another has left it. What was changed and not committed is taken back with the
// last of them.
//
// Only the thread that owns the message uses it. Operations raise helpers::HResultCodeException
// when MAPI fails, and vek::CheckFailedException when the stream has become shorter than a user's
// place, which is then as it was. Counts and places are in bytes.
class SharedStream {
public:
    // `backup` is what the property held, and empty for a stream that is only read.
    explicit SharedStream(vek::RefPtr<IStream> stream,
                          std::shared_ptr<PropertyBackup> backup = nullptr) noexcept
        : backup_(std::move(backup)), stream_(std::move(stream)) {}
    ~SharedStream();
    SharedStream(const SharedStream&) = delete;
    SharedStream& operator=(const SharedStream&) = delete;

    // Reads on until `bytes` is full or the stream is at its end, and gives the count.
    std::size_t Read(std::uint64_t& place, std::span<std::byte> bytes);
    std::size_t Write(std::uint64_t& place, std::span<const std::byte> bytes);
    // `origin` is a STREAM_SEEK_... value.
    void Seek(std::uint64_t& place, std::int64_t offset, DWORD origin);
    std::uint64_t Size();
    void SetSize(std::uint64_t size);
    void Commit();

    // The store has given `stream` as this one again.
    bool Is(const IStream& stream) const noexcept { return stream_.get() == &stream; }

    // Somebody has read from it beside this.
    void LosePlace() noexcept { place_.reset(); }

    // Its opening has emptied the property: that is a change.
    void OnCreated() noexcept { OnChange(); }

    // It has changes that are not committed.
    bool is_changed() const noexcept { return changed_; }

    // As PropertyBackup::IsNarrowWhole, of what was there when the stream was opened for writing.
    bool WasNarrowWhole() noexcept { return backup_ && backup_->IsNarrowWhole(); }

    // The stream itself, at its start, to be read.
    IStream& AtStart();
    // The stream itself, at its start and emptied, to be written; what it had is not kept. Commit
    // is called here after, or ReplaceFailed with what it had.
    IStream& Emptied();
    void ReplaceFailed(std::vector<std::byte> old) noexcept;

    // For a stream of compressed RTF: the plain RTF in it, with the flags of
    // WrapCompressedRTFStream. Such a stream goes onwards only, so there is one at a time; raises
    // vek::ResultCodeException kNotReady while another is used.
    static std::shared_ptr<SharedStream> Uncompress(const std::shared_ptr<SharedStream>& compressed,
                                                    const mapi::MapiFunctions& functions,
                                                    ULONG flags);

private:
    void MoveTo(std::uint64_t place);
    void BeforeChange();
    void OnChange() noexcept;
    void OnCommitted() noexcept;

    const std::shared_ptr<PropertyBackup> backup_;  // used by its end, when the stream is released
    vek::RefPtr<IStream> stream_;
    std::optional<std::uint64_t> place_ = 0;  // where the stream stands, if that is known
    bool changed_ = false;                    // since the last commit
    std::shared_ptr<SharedStream> compressed_;
    std::weak_ptr<SharedStream> plain_;
};

}  // namespace plugins::mail_processing
