#include "sandbox/outlook/storage_node.h"

#include <cstdint>
#include <stdexcept>
#include <utility>

namespace sandbox::outlook {
namespace {

constexpr std::string_view kSignature = "STG1";
constexpr char kEnd = 0;
constexpr char kStream = 1;
constexpr char kStorage = 2;
constexpr std::size_t kLongestName = 31;

void AppendNumber(std::string& out, std::uint64_t value, int size) {
    for (int i = 0; i != size; ++i) out.push_back(static_cast<char>(value >> (8 * i) & 0xFF));
}

void AppendElements(std::string& out, const StorageNode& storage) {
    for (const auto& [name, node] : storage.inside) {
        out.push_back(node->bytes ? kStream : kStorage);
        AppendNumber(out, name.size(), 2);
        for (const char16_t unit : name) AppendNumber(out, unit, 2);
        if (node->bytes) {
            AppendNumber(out, node->bytes->size(), 8);
            out += *node->bytes;
        } else {
            AppendElements(out, *node);
        }
    }
    out.push_back(kEnd);
}

class Reader {
public:
    explicit Reader(std::string_view bytes) : left_(bytes) {}

    std::string_view Take(std::uint64_t size) {
        if (size > left_.size()) Fail();
        const std::string_view taken = left_.substr(0, size);
        left_.remove_prefix(size);
        return taken;
    }

    std::uint64_t Number(std::size_t size) {
        std::uint64_t value = 0;
        int shift = 0;
        for (const char c : Take(size)) {
            value |= std::uint64_t{static_cast<unsigned char>(c)} << shift;
            shift += 8;
        }
        return value;
    }

    std::u16string Name() {
        std::u16string name;
        for (auto left = Number(2); left != 0; --left)
            name.push_back(static_cast<char16_t>(Number(2)));
        if (!IsElementName(name)) Fail();
        return name;
    }

    std::shared_ptr<StorageNode> Storage(int depth) {
        if (depth > kDeepestStorage) Fail();
        auto storage = std::make_shared<StorageNode>();
        for (char kind = Take(1)[0]; kind != kEnd; kind = Take(1)[0]) {
            std::u16string name = Name();
            std::shared_ptr<StorageNode> node;
            if (kind == kStorage) {
                node = Storage(depth + 1);
            } else if (kind == kStream) {
                node = std::make_shared<StorageNode>();
                node->bytes = std::make_shared<const std::string>(Take(Number(8)));
            }
            if (!node || !storage->inside.emplace(std::move(name), std::move(node)).second) Fail();
        }
        return storage;
    }

    void ExpectEnd() const {
        if (!left_.empty()) Fail();
    }

    [[noreturn]] static void Fail() { throw std::runtime_error("this is no storage"); }

private:
    std::string_view left_;
};

}  // namespace

std::shared_ptr<StorageNode> CopyNodes(const StorageNode& node) {
    auto copy = std::make_shared<StorageNode>(node);
    for (auto& [name, inner] : copy->inside) inner = CopyNodes(*inner);
    return copy;
}

std::size_t SizeOf(const StorageNode& node) {
    std::size_t size = node.bytes ? node.bytes->size() : 0;
    for (const auto& [name, inner] : node.inside) size += SizeOf(*inner);
    return size;
}

bool IsElementName(std::u16string_view name) {
    constexpr std::u16string_view kForbidden(u"/\\:!\0", 5);
    return !name.empty() && name.size() <= kLongestName &&
           name.find_first_of(kForbidden) == std::u16string_view::npos;
}

std::string EncodeStorage(const StorageNode& storage) {
    std::string bytes(kSignature);
    AppendElements(bytes, storage);
    return bytes;
}

std::shared_ptr<StorageNode> DecodeStorage(std::string_view bytes) {
    Reader reader(bytes);
    if (bytes.substr(0, kSignature.size()) != kSignature) Reader::Fail();
    reader.Take(kSignature.size());
    auto storage = reader.Storage(0);
    reader.ExpectEnd();
    return storage;
}

}  // namespace sandbox::outlook
