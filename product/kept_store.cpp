#include "product/kept_store.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <random>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "product/foreign_text.h"
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
constexpr std::uint64_t kSmallPart = 16;  // of all: what everybody may keep at any time
constexpr const char* kLastNumber = "last-number";
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
    // Has it outlive a loss of power.
    void Flush() {
        if (!file_.Flush()) throw std::runtime_error(PathText(written_) + ": cannot be written");
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

KeptStore::KeptStore(fs::path folder, std::function<KeptLimits()> limits, Log log,
                     vek::platform::Clock& clock)
    : folder_(std::move(folder)), limits_(std::move(limits)), log_(std::move(log)), clock_(clock) {
    fs::create_directories(folder_);
    const std::string last = ReadTextFile(folder_ / kLastNumber).value_or("0");
    std::from_chars(last.data(), last.data() + last.size(), last_id_);
    if (last != std::to_string(last_id_)) log_("kept: last-number is malformed");
    for (const auto& file : fs::directory_iterator(folder_)) {
        std::error_code ignored;
        if (file.path().extension() == kUnfinished) fs::remove(file.path(), ignored);
        const std::optional<std::uint32_t> id = IdOf(file.path());
        if (!id) continue;
        last_id_ = std::max(last_id_, *id);
        try {
            const KeptItem item = OpenItem(file.path()).item;
            Account& account = accounts_[item.account];
            account.items.push_back({*id, item.time, CostOf(file.file_size())});
            account.cost += account.items.back().cost;
        } catch (const std::exception& exception) {
            log_(std::string("kept: a broken item is left alone: ") + exception.what());
        }
    }
    for (auto& [name, account] : accounts_) std::ranges::sort(account.items, {}, &Entry::id);
    Expire();
}

// What an unfinished item takes, for as long as it is that.
class KeptStore::Room {
public:
    Room(KeptStore& store, const std::string& account)
        : store_(store), account_(AccountOf(account)) {}
    ~Room() {
        const std::lock_guard guard(store_.lock_);
        Give();
    }
    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;

    // Raises std::runtime_error when it is to take more than there can be. Nothing goes for it yet.
    void Grow(std::uint64_t cost, const KeptLimits& limits) {
        const std::lock_guard guard(store_.lock_);
        account_.unfinished += cost - std::exchange(cost_, cost);
        std::uint64_t all = 0;
        for (const auto& [name, account] : store_.accounts_) all += account.unfinished;
        if (all > limits.bytes && account_.unfinished > limits.bytes / kSmallPart)
            throw std::runtime_error("more than all that may be kept is to be kept at once");
    }

    // With the lock: makes the room free that the item is to have for good.
    void Finish(const KeptLimits& limits) {
        if (!limits.are_known && store_.Cost() > limits.bytes)
            throw std::runtime_error("there is no room, and how much may be kept is not known");
        if (cost_ > limits.bytes / kSmallPart && !store_.CanMakeRoom(account_, cost_, limits.bytes))
            throw std::runtime_error("others have no room to spare for it");
        store_.MakeRoom(limits.bytes);
    }
    // With the lock: the item has it.
    void Become(const KeptItem& item) {
        account_.items.push_back({item.id, item.time, cost_});
        account_.cost += cost_;
        Give();
    }

private:
    Account& AccountOf(const std::string& name) const {
        const std::lock_guard guard(store_.lock_);
        return store_.accounts_[name];
    }
    void Give() noexcept { account_.unfinished -= std::exchange(cost_, 0); }

    KeptStore& store_;
    Account& account_;  // no account goes
    std::uint64_t cost_ = 0;
};

fs::path KeptStore::FileOf(std::uint32_t id) const { return folder_ / NameOf(id); }

std::uint32_t KeptStore::Keep(KeptItem item, const std::function<void(const Sink&)>& read) {
    const KeptLimits limits = limits_();
    if (limits.bytes == 0) return 0;
    item.time = clock_.UtcNow();
    item.subject = Shortened(std::move(item.subject), kLongestText);
    item.name = Shortened(std::move(item.name), kLongestText);
    {
        const std::lock_guard guard(lock_);
        if (last_id_ == std::numeric_limits<std::uint32_t>::max())
            throw std::runtime_error("there is no number left for it");
        item.id = ++last_id_;
    }
    const Key key = NewKey();
    Room room(*this, item.account);
    NewFile file(FileOf(item.id), true);
    file.Append(ToLine(item, key));
    Mask mask(key);
    std::string hidden;
    room.Grow(CostOf(file.size()), limits);
    read([&](std::span<const std::byte> piece) {
        room.Grow(CostOf(file.size() + piece.size()), limits);
        hidden.assign(reinterpret_cast<const char*>(piece.data()), piece.size());
        mask.Apply(hidden);
        file.Append(hidden);
    });
    file.Flush();
    const std::lock_guard guard(lock_);
    ReplaceTextFile(folder_ / kLastNumber, std::to_string(last_id_));
    // Others lose what they keep for it: so nothing that is likely to fail comes after.
    room.Finish(limits);
    file.Finish();
    room.Become(item);
    return item.id;
}

void KeptStore::Remove(std::uint32_t id) noexcept {
    const std::lock_guard guard(lock_);
    for (auto& [name, account] : accounts_) {
        const auto found = std::ranges::find(account.items, id, &Entry::id);
        if (found != account.items.end()) return static_cast<void>(Drop(account, found, nullptr));
    }
}

void KeptStore::Expire() {
    const KeptLimits limits = limits_();
    const std::lock_guard guard(lock_);
    expired_ = clock_.UtcNow();
    if (!limits.are_known) return;
    for (auto& [name, account] : accounts_)
        for (Entry& item : account.items) item.is_stuck = false;
    DropOld(limits.age);
    MakeRoom(limits.bytes);
}

void KeptStore::ExpireDaily() {
    {
        const std::lock_guard guard(lock_);
        if (clock_.UtcNow() - expired_ < kDay) return;
    }
    Expire();
}

// Without `why` the log is not told, unless it cannot be removed. Whether it was.
bool KeptStore::Drop(Account& account, std::deque<Entry>::iterator item, const char* why) {
    std::error_code error;
    fs::remove(FileOf(item->id), error);
    if (error) why = "cannot be removed yet";
    if (why != nullptr) log_("kept: item " + std::to_string(item->id) + ' ' + why);
    if (error) {
        item->is_stuck = true;
        return false;
    }
    account.cost -= item->cost;
    account.items.erase(item);
    return true;
}

void KeptStore::DropOld(std::chrono::days days) {
    const filetime_t age = static_cast<filetime_t>(days.count()) * kDay;
    const filetime_t now = clock_.UtcNow();
    for (auto& [name, account] : accounts_) {
        for (std::size_t i = 0; i < account.items.size();) {
            const auto item = account.items.begin() + static_cast<std::ptrdiff_t>(i);
            if (now <= item->time || now - item->time < age) break;
            if (!Drop(account, item, "expired")) ++i;
        }
    }
}

std::uint64_t KeptStore::Cost() const {
    std::uint64_t cost = 0;
    for (const auto& [name, account] : accounts_) cost += account.cost + account.unfinished;
    return cost;
}

// Whether there can be room for what `account` is to keep, `cost`, when it loses all that it keeps,
// and each other at most what it keeps beyond that.
bool KeptStore::CanMakeRoom(const Account& account, std::uint64_t cost, std::uint64_t most) const {
    std::uint64_t left = 0;
    for (const auto& [name, each] : accounts_) {
        left += each.unfinished;
        if (&each != &account) left += std::min(each.cost, cost);
    }
    return left <= most;
}

void KeptStore::MakeRoom(std::uint64_t most) {
    for (std::uint64_t cost = Cost(); cost > most;) {
        Account* largest = nullptr;
        std::deque<Entry>::iterator oldest;
        for (auto& [name, account] : accounts_) {
            const auto item = std::ranges::find(account.items, false, &Entry::is_stuck);
            const auto size = [](const Account& one) { return one.cost + one.unfinished; };
            if (item == account.items.end() || (largest && size(account) <= size(*largest)))
                continue;
            largest = &account;
            oldest = item;
        }
        if (largest == nullptr) return;
        const std::uint64_t gained = oldest->cost;
        if (Drop(*largest, oldest, "made room for others")) cost -= gained;
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
