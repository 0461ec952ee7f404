"""The property tags of message files that both directions use."""

SUBJECT = "0037001F"
CLIENT_SUBMIT_TIME = "00390040"
PROVIDER_SUBMIT_TIME = "00480040"
LAST_MODIFICATION_TIME = "30070040"
MESSAGE_CLASS = "001A001F"
TRANSPORT_HEADERS = "007D001F"
INTERNET_MESSAGE_ID = "1035001F"
BODY = "1000001F"
BODY_HTML = "1013001F"
SENDER_NAME, SENDER_ADDRTYPE, SENDER_EMAIL = "0C1A001F", "0C1E001F", "0C1F001F"
SENDER_ENTRY_ID = "0C190102"
REPRESENTING_NAME, REPRESENTING_ADDRTYPE, REPRESENTING_EMAIL = "0042001F", "0064001F", "0065001F"
REPRESENTING_ENTRY_ID = "00410102"
DISPLAY_TO, DISPLAY_CC = "0E04001F", "0E03001F"
HAS_ATTACH = "0E1B000B"
ENTRY_ID = "0FFF0102"
RECORD_KEY = "0FF90102"
RECIPIENT_TYPE = "0C150003"
DISPLAY_NAME, ADDRTYPE, EMAIL_ADDRESS = "3001001F", "3002001F", "3003001F"
SMTP_ADDRESS = "39FE001F"
ATTACH_NUM, ATTACH_SIZE, ATTACH_METHOD = "0E210003", "0E200003", "37050003"
ATTACH_DATA = "37010102"
ATTACH_LONG_FILENAME, ATTACH_FILENAME = "3707001F", "3704001F"
ATTACH_MIME_TAG = "370E001F"
ATTACH_CONTENT_ID = "3712001F"

BY_VALUE, EMBEDDED_MESSAGE, OLE_OBJECT = 1, 5, 6
TO, CC, BCC = 1, 2, 3

# Ids that a store keeps up by itself; a difference in them is nobody's change.
KEPT_BY_THE_STORE = {
    "0E07", "0E08", "0E12", "0E13", "0E1B", "0E1D", "0E20", "0E21",  # flags, sizes, tables, numbers
    "0FF4", "0FF6", "0FF7", "0FF8", "0FF9", "0FFA", "0FFB", "0FFE", "0FFF",  # access and identity
    "3007", "3008", "300B", "65E2", "65E3",  # times and keys of the last change
    "003D", "0070",  # subject prefix and topic, derived from the subject
}


def normalised(properties):
    """Tags in upper case, narrow strings as wide ones, where the file does not hold both."""
    result = {tag.upper(): value for tag, value in properties.items()}
    for tag in [tag for tag in result if tag.endswith("001E")]:
        value = result.pop(tag)
        result.setdefault(tag[:4] + "001F", value)
    return result
