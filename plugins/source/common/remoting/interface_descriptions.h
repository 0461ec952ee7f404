#pragma once

// The remote interfaces between the plug-in and the product. Methods are in the order of their
// slots; the order is a contract with the product.

#include "private_include/common/localization.h"
#include "private_include/common/mail_message.h"
#include "private_include/common/mail_scanner.h"
#include "private_include/common/product_settings.h"
#include "private_include/common/settings_window.h"
#include "private_include/common/user_language.h"
#include "vek/remoting/describe.h"

namespace vek::remoting {

// One method a line, as the formatter would not have it.
// clang-format off

VEK_REMOTE_INTERFACE(plugins::mail_processing::IDataStream,
                     (Read, method_attribute::kNone),
                     (Write, method_attribute::kNone),
                     (Seek, method_attribute::kNone),
                     (GetSize, method_attribute::kNone),
                     (SetSize, method_attribute::kNone),
                     (Commit, method_attribute::kNone))

VEK_REMOTE_INTERFACE(plugins::mail_processing::IPropertyProvider,
                     (Delete, method_attribute::kNone),
                     (OpenStream, method_attribute::kNone),
                     (GetName, method_attribute::kNone),
                     (GetFileName, method_attribute::kNone),
                     (GetMimeTag, method_attribute::kNone),
                     (GetSize, method_attribute::kNone),
                     (Rename, method_attribute::kNone))

VEK_REMOTE_INTERFACE(plugins::mail_processing::IAttachmentsEnum,
                     (Next, method_attribute::kNone),
                     (Reset, method_attribute::kNone),
                     (Find, method_attribute::kNone))

VEK_REMOTE_INTERFACE(plugins::mail_processing::IMailMessage,
                     (GetHeaderSummary, method_attribute::kNone),
                     (GetMessageHash, method_attribute::kNone),
                     (GetSender, method_attribute::kNone),
                     (GetSenderSmtpAddress, method_attribute::kNone),
                     (GetSentRepresenting, method_attribute::kNone),
                     (GetSenderName, method_attribute::kNone),
                     (GetSentRepresentingName, method_attribute::kNone),
                     (GetToRecipients, method_attribute::kNone),
                     (GetDisplayTo, method_attribute::kNone),
                     (GetCcRecipients, method_attribute::kNone),
                     (GetDisplayCc, method_attribute::kNone),
                     (GetSubject, method_attribute::kNone),
                     (GetTime, method_attribute::kNone),
                     (GetInternetMessageId, method_attribute::kNone),
                     (GetTransportHeaders, method_attribute::kNone),
                     (GetPlainBody, method_attribute::kNone),
                     (GetHtmlBody, method_attribute::kNone),
                     (GetRichBody, method_attribute::kNone),
                     (GetAttachments, method_attribute::kNone),
                     (SetSubject, method_attribute::kNone),
                     (AppendNotice, method_attribute::kNone),
                     (SetProperty, method_attribute::kNone),
                     (SetHeader, method_attribute::kNone),
                     (AddHeader, method_attribute::kNone))

VEK_REMOTE_INTERFACE(plugins::mail_processing::IMailScanner,
                     (CheckMessage, method_attribute::kNone))

VEK_REMOTE_INTERFACE(plugins::product::IProductSettings,
                     (GetSettings, method_attribute::kNone),
                     (SetUserSettings, method_attribute::kNone))

VEK_REMOTE_INTERFACE(plugins::product::ILocalization,
                     (GetText, method_attribute::kNone),
                     (ResolveResource, method_attribute::kNone),
                     (IsRightToLeft, method_attribute::kNone))

VEK_REMOTE_INTERFACE(plugins::product::ISettingsWindow,
                     (Open, method_attribute::kNone))

VEK_REMOTE_INTERFACE(plugins::product::IUserLanguage,
                     (SetUserLanguages, method_attribute::kNone))

// clang-format on

}  // namespace vek::remoting
