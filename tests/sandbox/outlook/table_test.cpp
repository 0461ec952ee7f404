#include "tests/sandbox/outlook/mapi_test.h"

namespace sandbox::outlook {
namespace {

class TableTest : public MapiTest {
protected:
    static MessageRecord Mail() {
        MessageRecord message = Message("table");
        for (const char* name : {"a", "b", "c"}) {
            message.AddAttachment(Attachment(name, "bytes", ATTACH_BY_VALUE));
        }
        return message;
    }

    vek::RefPtr<IMAPITable> Attachments() {
        vek::RefPtr<IMAPITable> table;
        EXPECT_EQ(message->GetAttachmentTable(0, table.put()), S_OK);
        SPropTagArray columns{1, {tag::kAttachNum}};
        EXPECT_EQ(table->SetColumns(&columns, 0), S_OK);
        return table;
    }

    // The numbers in the next rows.
    std::vector<LONG> Next(IMAPITable* table, LONG count, ULONG flags = 0) {
        SRowSet* rows = nullptr;
        EXPECT_EQ(table->QueryRows(count, flags, &rows), S_OK);
        std::vector<LONG> numbers;
        const SRow* const first = rows->aRow;
        for (ULONG i = 0; i != rows->cRows; ++i) numbers.push_back(first[i].lpProps->Value.l);
        functions.free_prows(rows);
        return numbers;
    }

    void TearDown() override {
        message.reset();
        MapiTest::TearDown();
    }

    vek::RefPtr<IMessage> message = mapi.OpenMessage(mapi.store().Add(Mail()));
};

using Numbers = std::vector<LONG>;

TEST_F(TableTest, ADeletedRowTakesNoOthersTurn) {
    auto table = Attachments();
    EXPECT_EQ(Next(table.get(), 1), (Numbers{0}));
    ASSERT_EQ(message->DeleteAttach(0, 0, nullptr, 0), S_OK);
    EXPECT_EQ(Next(table.get(), 1), (Numbers{1}));
    ASSERT_EQ(message->DeleteAttach(2, 0, nullptr, 0), S_OK);
    EXPECT_EQ(Next(table.get(), 1), (Numbers{}));
    ULONG count = 0;
    ASSERT_EQ(table->GetRowCount(0, &count), S_OK);
    EXPECT_EQ(count, 1u);
}

TEST_F(TableTest, FindsARowByAProperty) {
    auto table = Attachments();
    struct {
        ULONG tag;
        const char* name;
        BOOKMARK origin;
        ULONG relop;
        HRESULT code;
        Numbers rest;
    } const cases[] = {
        {tag::kDisplayNameA, "b", BOOKMARK_BEGINNING, RELOP_EQ, S_OK, {1, 2}},
        {tag::kDisplayNameA, "c", BOOKMARK_CURRENT, RELOP_EQ, MAPI_E_NOT_FOUND, {}},
        {tag::kDisplayNameA, "a", BOOKMARK_BEGINNING, RELOP_EQ, S_OK, {0, 1, 2}},
        {tag::kSubjectA, "a", BOOKMARK_BEGINNING, RELOP_EQ, MAPI_E_NOT_FOUND, {}},
        {tag::kDisplayNameA, "a", BOOKMARK_BEGINNING, RELOP_GE, MAPI_E_TOO_COMPLEX, {}},
    };
    for (const auto& c : cases) {
        std::string name = c.name;
        SPropValue value{};
        value.ulPropTag = c.tag;
        value.Value.lpszA = name.data();
        SRestriction restriction{};
        restriction.rt = RES_PROPERTY;
        restriction.res.resProperty = {c.relop, c.tag, &value};
        EXPECT_EQ(table->FindRow(&restriction, c.origin, 0), c.code);
        EXPECT_EQ(Next(table.get(), 9), c.rest);
    }
}

}  // namespace
}  // namespace sandbox::outlook
