#include <gtest/gtest.h>

#include "vek/core/object.h"
#include "vek/core/ref_ptr.h"

namespace {

struct IFirst : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 11;
};
struct ISecond : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 12;
    virtual int Second() = 0;
};
struct Both final : vek::ObjectImpl<IFirst, ISecond> {
    int Second() override { return 2; }
};

TEST(Object, AnswersToItsInterfacesAndLivesByItsReferences) {
    const std::uint32_t before = vek::LiveObjectCount();
    auto object = vek::MakeObject<Both>();
    EXPECT_EQ(vek::LiveObjectCount(), before + 1);

    vek::RefPtr<ISecond> second;
    ASSERT_EQ(object->QueryInterface(ISecond::kInterfaceId, second.put_void()), vek::result::kOk);
    void* root = nullptr;
    ASSERT_EQ(second->QueryInterface(vek::IObject::kInterfaceId, &root), vek::result::kOk);
    EXPECT_EQ(root, static_cast<IFirst*>(object.get()));
    EXPECT_EQ(second->Release(), 2u);
    EXPECT_EQ(second->QueryInterface(13, &root), vek::result::kInterfaceNotSupported);
    EXPECT_EQ(root, nullptr);
    object.reset();
    EXPECT_EQ(second->Second(), 2);
    second = vek::RefPtr<ISecond>(second);
    second.reset();
    EXPECT_EQ(vek::LiveObjectCount(), before);
}

}  // namespace
