#include "tests/outlook/mapi_test.h"

namespace sandbox::outlook {
namespace {

class TableTest : public MapiTest {
protected:
    static MessageRecord Mail() {
        MessageRecord message = Message("table");
        for (const char* name : {"a", "b", "c"}) {
            message.AddAttachment(Attachment(name, "bytes", ATTACH_BY_VALUE));
            PropertyBag recipient;
            recipient.Set(tag::kRecipientType, PropertyValue::Long(MAPI_TO));
            if (*name != 'b') recipient.Set(tag::kDisplayNameA, PropertyValue::Text(name));
            message.recipients.push_back(recipient);
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

TEST_F(TableTest, GivesRowsFromItsPosition) {
    auto table = Attachments();
    EXPECT_EQ(Next(table.get(), 2, TBL_NOADVANCE), (Numbers{0, 1}));
    EXPECT_EQ(Next(table.get(), 2), (Numbers{0, 1}));
    EXPECT_EQ(Next(table.get(), 2), (Numbers{2}));
    EXPECT_EQ(Next(table.get(), 2), (Numbers{}));
    struct {
        BOOKMARK origin;
        LONG count;
        LONG sought;
        ULONG row;
    } const seeks[] = {
        {BOOKMARK_BEGINNING, 0, 0, 0}, {BOOKMARK_CURRENT, 2, 2, 2}, {BOOKMARK_CURRENT, -1, -1, 1},
        {BOOKMARK_CURRENT, 9, 2, 3},   {BOOKMARK_END, -9, -3, 0},   {BOOKMARK_END, -1, -1, 2},
    };
    for (const auto& seek : seeks) {
        LONG sought = 0;
        ULONG row = 0;
        ULONG numerator = 0;
        ULONG denominator = 0;
        EXPECT_EQ(table->SeekRow(seek.origin, seek.count, &sought), S_OK);
        EXPECT_EQ(table->QueryPosition(&row, &numerator, &denominator), S_OK);
        EXPECT_EQ(sought, seek.sought);
        EXPECT_EQ(row, seek.row);
        EXPECT_EQ(denominator, 3u);
    }
    EXPECT_EQ(table->SeekRow(17, 0, nullptr), MAPI_E_INVALID_BOOKMARK);
}

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

TEST_F(TableTest, AllRowsComeAtOnceWithWhatIsMissing) {
    vek::RefPtr<IMAPITable> table;
    ASSERT_EQ(message->GetRecipientTable(0, table.put()), S_OK);
    ASSERT_EQ(table->SeekRow(BOOKMARK_END, 0, nullptr), S_OK);
    SizedSPropTagArray(2, columns) = {2, {tag::kDisplayNameA, tag::kRecipientType}};
    auto* const tags = reinterpret_cast<SPropTagArray*>(&columns);
    SRowSet* rows = nullptr;
    ASSERT_EQ(functions.query_all_rows(table.get(), tags, nullptr, nullptr, 0, &rows), S_OK);
    ASSERT_EQ(rows->cRows, 3u);
    const SRow* const row = rows->aRow;
    EXPECT_STREQ(row[0].lpProps[0].Value.lpszA, "a");
    EXPECT_EQ(row[1].lpProps[0].ulPropTag, CHANGE_PROP_TYPE(tag::kDisplayNameA, PT_ERROR));
    EXPECT_EQ(row[1].lpProps[0].Value.err, MAPI_E_NOT_FOUND);
    EXPECT_EQ(row[1].lpProps[1].Value.l, 1);
    functions.free_prows(rows);

    EXPECT_EQ(functions.query_all_rows(table.get(), tags, nullptr, nullptr, 2, &rows),
              MAPI_E_TABLE_TOO_BIG);
    ASSERT_EQ(functions.query_all_rows(table.get(), nullptr, nullptr, nullptr, 3, &rows), S_OK);
    functions.free_prows(rows);
}

}  // namespace
}  // namespace sandbox::outlook
