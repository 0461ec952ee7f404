#pragma once

// The remote interfaces between the plug-in and the product. Methods are in the order of their
// slots; the order is a contract with the product.

#include "private_include/common/localization.h"
#include "private_include/common/mail_message.h"
#include "private_include/common/mail_scanner.h"
#include "private_include/common/product_settings.h"
#include "private_include/common/settings_window.h"
#include "vek/remoting/describe.h"

namespace vek::remoting {

// One method a line, as the formatter would not have it.
// clang-format off

VEK_REMOTE_INTERFACE(plugins::mail_processing::IDataStream,
                     (Read, method_attribute::kReadsOnly),
                     (Write, method_attribute::kNone),
                     (Seek, method_attribute::kReadsOnly),
                     (GetSize, method_attribute::kReadsOnly),
                     (SetSize, method_attribute::kNone),
                     (Commit, method_attribute::kNone))

VEK_REMOTE_INTERFACE(plugins::mail_processing::IPropertyProvider,
                     (Delete, method_attribute::kNone),
                     (OpenStream, method_attribute::kNone),
                     (GetName, method_attribute::kReadsOnly),
                     (GetFileName, method_attribute::kReadsOnly),
                     (GetMimeTag, method_attribute::kReadsOnly),
                     (GetSize, method_attribute::kReadsOnly),
                     (Rename, method_attribute::kNone))

VEK_REMOTE_INTERFACE(plugins::mail_processing::IAttachmentsEnum,
                     (Next, method_attribute::kReadsOnly),
                     (Reset, method_attribute::kReadsOnly),
                     (Find, method_attribute::kReadsOnly))

VEK_REMOTE_INTERFACE(plugins::mail_processing::IMailMessage,
                     (GetHeaderSummary, method_attribute::kReadsOnly),
                     (GetMessageHash, method_attribute::kReadsOnly),
                     (GetSender, method_attribute::kReadsOnly),
                     (GetSenderSmtpAddress, method_attribute::kReadsOnly),
                     (GetSentRepresenting, method_attribute::kReadsOnly),
                     (GetSenderName, method_attribute::kReadsOnly),
                     (GetSentRepresentingName, method_attribute::kReadsOnly),
                     (GetToRecipients, method_attribute::kReadsOnly),
                     (GetDisplayTo, method_attribute::kReadsOnly),
                     (GetCcRecipients, method_attribute::kReadsOnly),
                     (GetDisplayCc, method_attribute::kReadsOnly),
                     (GetSubject, method_attribute::kReadsOnly),
                     (GetTime, method_attribute::kReadsOnly),
                     (GetInternetMessageId, method_attribute::kReadsOnly),
                     (GetTransportHeaders, method_attribute::kReadsOnly),
                     (GetPlainBody, method_attribute::kReadsOnly),
                     (GetHtmlBody, method_attribute::kReadsOnly),
                     (GetRichBody, method_attribute::kReadsOnly),
                     (GetAttachments, method_attribute::kReadsOnly),
                     (SetSubject, method_attribute::kNone),
                     (AppendNotice, method_attribute::kNone),
                     (SetProperty, method_attribute::kNone),
                     (SetHeader, method_attribute::kNone),
                     (AddHeader, method_attribute::kNone))

VEK_REMOTE_INTERFACE(plugins::mail_processing::IMailScanner,
                     (CheckMessage, method_attribute::kNone))

VEK_REMOTE_INTERFACE(plugins::product::IProductSettings,
                     (GetSettings, method_attribute::kReadsOnly),
                     (SetUserSettings, method_attribute::kNone))

VEK_REMOTE_INTERFACE(plugins::product::ILocalization,
                     (GetText, method_attribute::kReadsOnly),
                     (ResolveResource, method_attribute::kReadsOnly),
                     (IsRightToLeft, method_attribute::kReadsOnly))

VEK_REMOTE_INTERFACE(plugins::product::ISettingsWindow,
                     (Open, method_attribute::kNone))

// clang-format on

}  // namespace vek::remoting
