#include "sandbox/outlook/rtf_stream.h"

#include <span>
#include <string>
#include <utility>
#include <vector>

#include "sandbox/outlook/compressed_rtf.h"

namespace sandbox::outlook {
namespace {

HRESULT SeekToStart(IStream& stream) {
    const LARGE_INTEGER start{};
    return stream.Seek(start, STREAM_SEEK_SET, nullptr);
}

HRESULT ReadAll(IStream& stream, std::vector<std::byte>& bytes) {
    if (const HRESULT code = SeekToStart(stream); FAILED(code)) return code;
    constexpr ULONG kPiece = 65536;
    for (;;) {
        const std::size_t size = bytes.size();
        bytes.resize(size + kPiece);
        ULONG count = 0;
        const HRESULT code = stream.Read(bytes.data() + size, kPiece, &count);
        if (count > kPiece) return STG_E_READFAULT;
        bytes.resize(size + count);
        if (FAILED(code) || count == 0) return code;
    }
}

HRESULT WriteAll(IStream& stream, std::span<const std::byte> bytes) {
    HRESULT code = SeekToStart(stream);
    if (SUCCEEDED(code)) code = stream.SetSize(ULARGE_INTEGER{});
    ULONG written = 0;
    if (SUCCEEDED(code)) {
        code = stream.Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written);
    }
    if (SUCCEEDED(code) && written != bytes.size()) code = STG_E_WRITEFAULT;
    return SUCCEEDED(code) ? stream.Commit(STGC_DEFAULT) : code;
}

}  // namespace

HRESULT WrapRtfStream(std::shared_ptr<Runtime> runtime, IStream* compressed, ULONG flags,
                      IStream** plain) {
    if (compressed == nullptr || plain == nullptr) return MAPI_E_INVALID_PARAMETER;
    *plain = nullptr;
    if (runtime->Refuses(flags, MAPI_MODIFY | MAPI_CREATE)) return MAPI_E_UNKNOWN_FLAGS;
    std::vector<std::byte> bytes;
    if (const HRESULT code = ReadAll(*compressed, bytes); FAILED(code)) return code;
    std::string text;
    try {
        if (!bytes.empty()) text = UncompressRtf(bytes);
    } catch (const BadCompressedRtf&) {
        return MAPI_E_CORRUPT_DATA;
    }
    auto sink = [inner = vek::RefPtr<IStream>::Share(compressed)](const Content& content) {
        return WriteAll(*inner, CompressRtf(*content));
    };
    const ByteStream::Mode mode{.readable = true,
                                .writable = (flags & MAPI_MODIFY) != 0,
                                .in_sequence = runtime->traits().rtf_in_sequence};
    return GiveTo(plain,
                  vek::MakeObject<ByteStream>(std::move(runtime),
                                              std::make_shared<const std::string>(std::move(text)),
                                              mode, std::move(sink)));
}

}  // namespace sandbox::outlook
