#include "com/class_factory_win32.h"

#include <atomic>

#include "com/com_object.h"

namespace plugins::com {
namespace {

std::atomic<std::uint32_t> server_locks{0};
std::atomic<std::uint32_t> instances{0};
std::atomic<std::uint32_t> ends{0};  // that are under way
std::atomic<void (*)() noexcept> on_last_instance{nullptr};

class ClassFactory final : public CountedObject<IClassFactory> {
public:
    explicit ClassFactory(Creator create) noexcept : create_(create) {}

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id,
                                             void** out) noexcept override {
        if (out == nullptr) return E_POINTER;
        *out = nullptr;
        if (outer != nullptr) return CLASS_E_NOAGGREGATION;
        return create_(id, out);
    }

    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) noexcept override {
        if (lock != FALSE) {
            ++server_locks;
            return S_OK;
        }
        // One too many is the caller's mistake, and is not to keep the module for ever.
        std::uint32_t locks = server_locks;
        while (locks != 0 && !server_locks.compare_exchange_weak(locks, locks - 1)) {
        }
        return locks != 0 ? S_OK : E_UNEXPECTED;
    }

private:
    void* Find(REFIID id) noexcept override {
        return id == IID_IClassFactory ? static_cast<IClassFactory*>(this) : nullptr;
    }

    const Creator create_;
};

}  // namespace

HRESULT MakeClassFactory(Creator create, REFIID id, void** out) noexcept {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return AtBorder([&] { return vek::MakeObject<ClassFactory>(create)->QueryInterface(id, out); });
}

std::uint32_t ServerLockCount() noexcept { return server_locks; }

InstanceMark::InstanceMark() noexcept { ++instances; }

InstanceMark::~InstanceMark() {
    ++ends;  // before it counts no more
    if (--instances == 0) {
        if (const auto end = on_last_instance.load()) end();
    }
    --ends;
}

std::uint32_t InstanceMark::Living() noexcept { return instances; }

std::uint32_t InstanceMark::Count() noexcept {
    // In this order: who goes from the one to the other is seen.
    const std::uint32_t living = Living();
    return living + ends;
}

void InstanceMark::OnLast(void (*end)() noexcept) noexcept { on_last_instance = end; }

}  // namespace plugins::com
