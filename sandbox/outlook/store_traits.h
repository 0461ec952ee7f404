#pragma once

#include <array>
#include <cstddef>
#include <limits>
#include <string_view>

namespace sandbox::outlook {

// What a store does where MAPI promises nothing. A store that gives less than another is the
// stricter one: whatever works on it works in Outlook.
struct StoreTraits {
    static constexpr std::size_t kUnlimited = std::numeric_limits<std::size_t>::max();

    // The answer to OpenProperty of a property that is open as a stream already.
    enum class SecondStream {
        kOpened,
        kRefused,
        kFirstAgain,  // the same stream, as far as it cannot write; else a refusal
    };

    static constexpr unsigned kUtf8 = 65001;

    std::string_view name;
    SecondStream second_stream = SecondStream::kOpened;
    // SetProps and DeleteProps of a property that is open as a stream are refused.
    bool guards_streams = false;
    // The stream of WrapCompressedRTFStream has Read, Write, CopyTo and Commit alone.
    bool rtf_in_sequence = false;
    // What is written to a stream is the property's value at once.
    bool writes_through = false;
    bool reverts = false;
    // Streams of properties take Seek to 0 and SetSize of 0 alone.
    bool streams_restart_only = false;
    // GetProps answers MAPI_E_NOT_ENOUGH_MEMORY for texts and binaries of this size and more.
    std::size_t large_value = kUnlimited;
    // DeleteAttach is refused while the attachment or a stream of it is held.
    bool guards_attachments = false;
    // Texts of tables are cut to this many characters.
    std::size_t longest_column = kUnlimited;
    // Flags that are not known are refused, AddRef and Release on a foreign thread are foreign
    // calls, and objects that outlive the last MAPIUninitialize of their thread are counted.
    bool pedantic = false;
    // Of narrow texts. A text is kept in Unicode, whichever way it was written.
    unsigned code_page = kUtf8;
};

inline constexpr StoreTraits kPlainStore{.name = "plain"};

inline constexpr StoreTraits kUsualStore{.name = "usual",
                                         .second_stream = StoreTraits::SecondStream::kRefused,
                                         .guards_streams = true,
                                         .rtf_in_sequence = true,
                                         .writes_through = true,
                                         .reverts = true};

// The same on a system for western languages.
inline constexpr StoreTraits kUsualStore1252 = [] {
    StoreTraits traits = kUsualStore;
    traits.name = "usual-1252";
    traits.code_page = 1252;
    return traits;
}();

inline constexpr StoreTraits kStrictStore1{.name = "strict-1",
                                           .second_stream = StoreTraits::SecondStream::kRefused,
                                           .guards_streams = true,
                                           .rtf_in_sequence = true,
                                           .writes_through = true,
                                           .streams_restart_only = true,
                                           .large_value = 4096,
                                           .guards_attachments = true,
                                           .longest_column = 255,
                                           .pedantic = true,
                                           .code_page = 1252};

inline constexpr StoreTraits kStrictStore2 = [] {
    StoreTraits traits = kStrictStore1;
    traits.name = "strict-2";
    traits.second_stream = StoreTraits::SecondStream::kFirstAgain;
    traits.reverts = true;
    traits.large_value = 16384;
    traits.code_page = 932;
    return traits;
}();

inline constexpr std::array kStores{&kPlainStore, &kUsualStore, &kUsualStore1252, &kStrictStore1,
                                    &kStrictStore2};

// The store of that name; null when there is none.
constexpr const StoreTraits* FindStore(std::string_view name) {
    for (const StoreTraits* store : kStores) {
        if (store->name == name) return store;
    }
    return nullptr;
}

}  // namespace sandbox::outlook
