#include "product/kept_store.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "product/state/text_file.h"
#include "vek/platform/append_file.h"

namespace reference_product {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using vek::platform::AppendFile;
using vek::platform::filetime_t;

constexpr std::uint64_t kCluster = 4096;
constexpr std::size_t kLongestText = 300;        // bytes of a subject or a name
constexpr std::size_t kLongestLine = 16 * 1024;  // room for such texts, escaped
constexpr std::size_t kLongestSafeName = 100;
constexpr filetime_t kDay = filetime_t{24 * 3600} * 10'000'000;
constexpr std::string_view kEnding = ".kept";
constexpr std::string_view kUnfinished = ".new";

using Key = std::array<std::uint8_t, 32>;

// Hides a content, or shows it again, piece by piece.
class Mask {
public:
    explicit Mask(const Key& key) noexcept : key_(key) {}

    void Apply(std::string& bytes) noexcept {
        for (char& byte : bytes)
            byte = static_cast<char>(static_cast<std::uint8_t>(byte) ^ key_[at_++ % key_.size()]);
    }

private:
    const Key key_;
    std::size_t at_ = 0;
};

Key NewKey() {
    std::random_device random;
    Key key;
    // A byte of zero would leave bytes as they are.
    for (std::uint8_t& byte : key) byte = static_cast<std::uint8_t>(1 + random() % 255);
    return key;
}

std::uint64_t CostOf(std::uint64_t size) { return (size + kCluster - 1) / kCluster * kCluster; }

std::string Shortened(std::string text) {
    if (text.size() > kLongestText) text.resize(kLongestText);
    return text;
}

std::string ToLine(const KeptItem& item, const Key& key) {
    const json line{{"id", item.id},
                    {"time", item.time},
                    {"account", item.account},
                    {"subject", item.subject},
                    {"name", item.name},
                    {"reason", item.reason},
                    {"key", key}};
    return line.dump(-1, ' ', true, json::error_handler_t::replace) + '\n';
}

// An item's file, read as far as its content.
struct OpenItem {
    explicit OpenItem(const fs::path& path) : file(path, std::ios::binary) {
        std::string line(kLongestLine, '\0');
        file.read(line.data(), static_cast<std::streamsize>(line.size()));
        line.resize(static_cast<std::size_t>(file.gcount()));
        const std::size_t end = line.find('\n');
        if (end == line.npos) throw std::runtime_error(PathText(path) + ": is no kept item");
        const json value = json::parse(line.substr(0, end));
        value.at("id").get_to(item.id);
        value.at("time").get_to(item.time);
        value.at("account").get_to(item.account);
        value.at("subject").get_to(item.subject);
        value.at("name").get_to(item.name);
        value.at("reason").get_to(item.reason);
        value.at("key").get_to(key);
        item.size = fs::file_size(path) - (end + 1);
        file.clear();
        file.seekg(static_cast<std::streamoff>(end + 1));
    }

    std::ifstream file;
    KeptItem item;
    Key key;
};

std::string NameOf(std::uint32_t id) { return std::to_string(id).append(kEnding); }

// The number in "N.kept"; nothing for another file.
std::optional<std::uint32_t> IdOf(const fs::path& path) {
    const std::string name = PathText(path.filename());
    std::uint32_t id = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), id);
    if (error != std::errc() || name != NameOf(id)) return std::nullopt;
    return id;
}

// A file that is removed again unless it is finished; until then it has, aside, another name.
class NewFile {
public:
    NewFile(fs::path path, bool aside) : path_(std::move(path)), written_(path_) {
        if (aside) written_ += kUnfinished;
        file_ = AppendFile::Create(PathText(written_));
        if (!file_)
            throw std::runtime_error(PathText(written_) + ": is there already or cannot be made");
    }
    ~NewFile() {
        if (is_finished_) return;
        file_ = {};
        std::error_code ignored;
        fs::remove(written_, ignored);
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    void Append(std::string_view bytes) {
        if (!file_.Append(bytes))
            throw std::runtime_error(PathText(written_) + ": cannot be written");
        size_ += bytes.size();
    }
    void Finish() {
        file_ = {};
        if (written_ != path_) fs::rename(written_, path_);
        is_finished_ = true;
    }
    std::uint64_t size() const noexcept { return size_; }

private:
    const fs::path path_;
    fs::path written_;
    AppendFile file_;
    std::uint64_t size_ = 0;
    bool is_finished_ = false;
};

// What is left of an attachment's name that can do no harm as part of a file's.
std::string SafeName(std::string_view name) {
    if (name.size() > kLongestSafeName) name.remove_prefix(name.size() - kLongestSafeName);
    std::string safe(name);
    for (char& letter : safe) {
        const bool is_plain = (letter >= '0' && letter <= '9') ||
                              (letter >= 'A' && letter <= 'Z') || (letter >= 'a' && letter <= 'z');
        if (!is_plain && std::string_view(" ._-()").find(letter) == std::string_view::npos)
            letter = '_';
    }
    // Windows drops these from the end of a name.
    while (safe.ends_with('.') || safe.ends_with(' ')) safe.pop_back();
    return safe.empty() ? "attachment" : safe;
}

}  // namespace

KeptStore::KeptStore(fs::path folder, std::function<std::optional<KeptLimits>()> limits, Log log,
                     vek::platform::Clock& clock)
    : folder_(std::move(folder)), limits_(std::move(limits)), log_(std::move(log)), clock_(clock) {
    fs::create_directories(folder_);
    for (const auto& file : fs::directory_iterator(folder_)) {
        std::error_code ignored;
        if (file.path().extension() == kUnfinished) fs::remove(file.path(), ignored);
        const std::optional<std::uint32_t> id = IdOf(file.path());
        if (!id) continue;
        last_id_ = std::max(last_id_, *id);
        try {
            entries_.push_back({*id, OpenItem(file.path()).item.time, CostOf(file.file_size())});
            cost_ += entries_.back().cost;
        } catch (const std::exception& exception) {
            log_(std::string("kept: a broken item is left alone: ") + exception.what());
        }
    }
    std::ranges::sort(entries_, {}, &Entry::id);
    Expire();
}

fs::path KeptStore::FileOf(std::uint32_t id) const { return folder_ / NameOf(id); }

std::uint32_t KeptStore::Keep(KeptItem item, const std::function<void(const Sink&)>& read) {
    const std::optional<KeptLimits> limits = limits_();
    if (limits && limits->bytes == 0) return 0;
    item.time = clock_.UtcNow();
    item.subject = Shortened(std::move(item.subject));
    item.name = Shortened(std::move(item.name));
    {
        const std::lock_guard guard(lock_);
        item.id = ++last_id_;
    }
    const Key key = NewKey();
    NewFile file(FileOf(item.id), true);
    file.Append(ToLine(item, key));
    Mask mask(key);
    std::string hidden;
    read([&](std::span<const std::byte> piece) {
        if (limits && CostOf(file.size() + piece.size()) > limits->bytes)
            throw std::runtime_error("it is larger than all that may be kept");
        hidden.assign(reinterpret_cast<const char*>(piece.data()), piece.size());
        mask.Apply(hidden);
        file.Append(hidden);
    });
    const std::lock_guard guard(lock_);
    file.Finish();
    entries_.push_back({item.id, item.time, CostOf(file.size())});
    cost_ += entries_.back().cost;
    if (limits) Shrink(*limits);
    return item.id;
}

void KeptStore::Remove(std::uint32_t id) noexcept {
    const std::lock_guard guard(lock_);
    const auto found = std::ranges::find(entries_, id, &Entry::id);
    if (found == entries_.end()) return;
    std::error_code error;
    fs::remove(FileOf(id), error);
    if (error) return;  // it expires
    cost_ -= found->cost;
    entries_.erase(found);
}

void KeptStore::Expire() {
    const std::optional<KeptLimits> limits = limits_();
    const std::lock_guard guard(lock_);
    expired_ = clock_.UtcNow();
    if (limits) Shrink(*limits);
}

void KeptStore::ExpireDaily() {
    {
        const std::lock_guard guard(lock_);
        if (clock_.UtcNow() - expired_ < kDay) return;
    }
    Expire();
}

void KeptStore::Shrink(const KeptLimits& limits) {
    const filetime_t age = static_cast<filetime_t>(limits.age.count()) * kDay;
    const filetime_t now = clock_.UtcNow();
    while (!entries_.empty()) {
        const Entry& oldest = entries_.front();
        const bool is_old = now > oldest.time && now - oldest.time >= age;
        if (!is_old && cost_ <= limits.bytes) return;
        std::error_code error;
        fs::remove(FileOf(oldest.id), error);
        log_("kept: item " + std::to_string(oldest.id) +
             (error    ? " cannot be removed"
              : is_old ? " expired"
                       : " made room for others"));
        cost_ -= oldest.cost;
        entries_.pop_front();
    }
}

std::vector<KeptItem> ListKept(const fs::path& folder) {
    std::vector<KeptItem> items;
    std::error_code error;
    if (!fs::exists(folder, error) && !error) return items;
    for (const auto& file : fs::directory_iterator(folder)) {
        if (!IdOf(file.path())) continue;
        try {
            items.push_back(OpenItem(file.path()).item);
        } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): it may be going
        }
    }
    std::ranges::sort(items, {}, &KeptItem::id);
    return items;
}

fs::path RestoreKept(const fs::path& folder, std::uint32_t id, const fs::path& to) {
    const fs::path kept = folder / NameOf(id);
    if (!fs::exists(kept)) throw std::runtime_error("there is no kept item " + std::to_string(id));
    OpenItem item(kept);
    const fs::path path = to / (std::to_string(id) + "-" + SafeName(item.item.name));
    NewFile restored(path, false);
    Mask mask(item.key);
    for (std::string piece; item.file;) {
        piece.resize(std::size_t{64} << 10);
        item.file.read(piece.data(), static_cast<std::streamsize>(piece.size()));
        piece.resize(static_cast<std::size_t>(item.file.gcount()));
        mask.Apply(piece);
        if (!piece.empty()) restored.Append(piece);
    }
    if (restored.size() != item.item.size)
        throw std::runtime_error(PathText(kept) + ": cannot be read");
    restored.Finish();
    return path;
}

}  // namespace reference_product
