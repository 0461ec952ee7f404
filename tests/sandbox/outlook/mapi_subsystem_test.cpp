#include "sandbox/outlook/mapi_subsystem.h"

#include <stdexcept>
#include <thread>

#include "tests/sandbox/outlook/mapi_test.h"

namespace sandbox::outlook {
namespace {

class MapiSubsystemTest : public MapiTest {
protected:
    static ENTRYID* EntryId(const std::string& id) {
        return reinterpret_cast<ENTRYID*>(const_cast<char*>(id.data()));
    }

    static HRESULT OpenEntry(IMAPISession* session, const std::string& entry, ULONG& type,
                             vek::RefPtr<IUnknown>& out) {
        return session->OpenEntry(static_cast<ULONG>(entry.size()), EntryId(entry), nullptr,
                                  MAPI_BEST_ACCESS, &type, out.put());
    }
};

TEST_F(MapiSubsystemTest, ThePlanNamesTheCallsThatFail) {
    auto message = mapi.NewMessage(Message("plan"));
    FaultPlan& faults = mapi.faults();
    const auto read = [&] {
        SPropValue* value = nullptr;
        const HRESULT code = functions.get_one_prop(message.get(), tag::kSubjectA, &value);
        functions.free_buffer(value);
        return code;
    };
    EXPECT_EQ(read(), S_OK);
    faults.FailNth(Call::kGetProps, 2, MAPI_E_BUSY);
    EXPECT_EQ(read(), S_OK);
    EXPECT_EQ(message->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_EQ(read(), MAPI_E_BUSY);
    EXPECT_EQ(read(), S_OK);
    faults.FailEvery(Call::kGetOneProp, MAPI_E_TIMEOUT);
    EXPECT_EQ(read(), MAPI_E_TIMEOUT);
    EXPECT_EQ(read(), MAPI_E_TIMEOUT);
    EXPECT_EQ(faults.Count(Call::kGetProps), 4u);
    EXPECT_EQ(faults.Count(Call::kGetOneProp), 6u);
    faults.Clear();
    faults.LimitReads(2);
    auto stream = OpenStream(message.get(), tag::kSubjectA, 0, 0);
    EXPECT_EQ(ReadAll(stream.get()), "pl");
    EXPECT_EQ(ReadAll(stream.get()), "an");
}

TEST_F(MapiSubsystemTest, ASessionOpensMessagesAndAddresses) {
    MessageRecord record = Message("found");
    record.properties.Set(tag::kEntryId, PropertyValue::Binary("mail"));
    PropertyBag user;
    user.Set(tag::kEntryId, PropertyValue::Binary("bob"));
    user.Set(tag::kSmtpAddressA, PropertyValue::Text("bob@example.com"));
    record.address_book.push_back(user);
    const std::string id = mapi.store().Add(record);
    EXPECT_EQ(id, "mail");
    EXPECT_NE(mapi.store().Add(record), "mail") << "taken";
    vek::RefPtr<IMAPISession> session;
    EXPECT_EQ(functions.logon_ex(0, nullptr, nullptr, 0, session.put()), MAPI_E_NOT_INITIALIZED);
    MAPIINIT_0 init{MAPI_INIT_VERSION, plugins::mapi::kNoCoInit};
    ASSERT_EQ(functions.initialize(&init), S_OK);
    ASSERT_EQ(functions.logon_ex(0, nullptr, nullptr, MAPI_EXTENDED, session.put()), S_OK);
    EXPECT_EQ(mapi.initialize_flags(), std::vector<ULONG>{8});
    EXPECT_EQ(mapi.logon_flags(), std::vector<ULONG>{MAPI_EXTENDED});

    ULONG type = 0;
    vek::RefPtr<IUnknown> opened;
    ASSERT_EQ(OpenEntry(session.get(), id, type, opened), S_OK);
    EXPECT_EQ(type, MAPI_MESSAGE);
    vek::RefPtr<IAddrBook> book;
    EXPECT_EQ(opened->QueryInterface(iid::kAddrBook, book.put_void()), E_NOINTERFACE);
    EXPECT_EQ(OpenEntry(session.get(), "nobody", type, opened), MAPI_E_NOT_FOUND);

    ASSERT_EQ(session->OpenAddressBook(0, nullptr, AB_NO_DIALOG, book.put()), S_OK);
    const std::string bob = "bob";
    ASSERT_EQ(book->OpenEntry(3, EntryId(bob), nullptr, MAPI_BEST_ACCESS, &type, opened.put()),
              S_OK);
    EXPECT_EQ(type, MAPI_MAILUSER);
    vek::RefPtr<IMAPIProp> entry;
    ASSERT_EQ(opened->QueryInterface(iid::kProp, entry.put_void()), S_OK);
    EXPECT_EQ(ReadText(entry.get(), tag::kSmtpAddressA), "bob@example.com");
    EXPECT_EQ(WriteText(entry.get(), tag::kSmtpAddressA, "x"), MAPI_E_NO_ACCESS);

    ASSERT_EQ(session->Logoff(0, 0, 0), S_OK);
    EXPECT_EQ(OpenEntry(session.get(), id, type, opened), MAPI_E_END_OF_SESSION);
    functions.uninitialize();
}

}  // namespace
}  // namespace sandbox::outlook
