#include "mail/message_text.h"

#include <gmime/gmime.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>

namespace mandrel {

namespace {

// GMime's objects are reference-counted; each pointer here owns one reference.
struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using GObjectPtr = std::unique_ptr<T, Unref>;
struct GFree {
    void operator()(gpointer memory) const { g_free(memory); }
};
struct FormatOptionsFree {
    void operator()(GMimeFormatOptions* options) const { g_mime_format_options_free(options); }
};
// RFC 5322's date in local time, with English names whatever the locale.
std::string DateHeader(std::time_t date) {
    static constexpr std::array<const char*, 7> kDays = {"Sun", "Mon", "Tue", "Wed",
                                                         "Thu", "Fri", "Sat"};
    static constexpr std::array<const char*, 12> kMonths = {
        "Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    std::tm local{};
    localtime_r(&date, &local);
    const long offset = local.tm_gmtoff / 60;
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%s, %d %s %d %02d:%02d:%02d %c%02ld%02ld",
                  kDays[static_cast<std::size_t>(local.tm_wday)], local.tm_mday,
                  kMonths[static_cast<std::size_t>(local.tm_mon)], local.tm_year + 1900,
                  local.tm_hour, local.tm_min, local.tm_sec, offset < 0 ? '-' : '+',
                  std::labs(offset) / 60, std::labs(offset) % 60);
    return text.data();
}

void InitGMime() {
    static std::once_flag once;
    std::call_once(once, [] { g_mime_init(); });
}

std::string Normalized(std::string_view text, std::string_view newline) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
            continue;
        }
        out += text[i] == '\n' ? std::string(newline) : std::string(1, text[i]);
    }
    return out;
}

// A subject as a header holds it: one line. (Some formats' subjects are whole "Subject:"
// lines with their line ends.)
std::string SubjectLine(std::string_view subject) {
    constexpr std::string_view kPrefix = "Subject: ";
    if (subject.starts_with(kPrefix)) {
        subject.remove_prefix(kPrefix.size());
    }
    std::string line;
    for (const char c : subject) {
        if (c != '\r' && c != '\n') {
            line += c;
        }
    }
    return line;
}

GObjectPtr<GMimeMessage> ParseText(std::string_view raw) {
    InitGMime();
    GObjectPtr<GMimeStream> stream(g_mime_stream_mem_new_with_buffer(raw.data(), raw.size()));
    GObjectPtr<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
    return GObjectPtr<GMimeMessage>(g_mime_parser_construct_message(parser.get(), nullptr));
}

std::string DisplayFrom(GMimeMessage* message) {
    InternetAddressList* from = g_mime_message_get_from(message);
    if (from == nullptr || internet_address_list_length(from) == 0) {
        return {};
    }
    InternetAddress* first = internet_address_list_get_address(from, 0);
    if (const char* name = internet_address_get_name(first); name != nullptr && *name != '\0') {
        return name;
    }
    if (INTERNET_ADDRESS_IS_MAILBOX(first)) {
        return internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(first));
    }
    return {};
}

// A part's content with its transfer encoding undone.
std::string DecodedContent(GMimePart* part) {
    GMimeDataWrapper* content = g_mime_part_get_content(part);
    if (content == nullptr) {
        return {};
    }
    GObjectPtr<GMimeStream> out(g_mime_stream_mem_new());
    g_mime_data_wrapper_write_to_stream(content, out.get());
    const GByteArray* bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(out.get()));
    return {reinterpret_cast<const char*>(bytes->data), bytes->len};
}

bool IsPlainText(GMimeObject* object) {
    GMimeContentType* type = g_mime_object_get_content_type(object);
    return type == nullptr || g_mime_content_type_is_type(type, "text", "plain");
}

void TakePart(GMimeObject* /*parent*/, GMimeObject* object, gpointer data) {
    auto& content = *static_cast<MessageContent*>(data);
    if (!GMIME_IS_PART(object)) {
        return;
    }
    auto* part = GMIME_PART(object);
    // A part sent as a file (its disposition or its name says so) is an attachment; of the
    // rest only the first plain text counts, so that an HTML alternative is no attachment.
    const char* fileName = g_mime_part_get_filename(part);
    if (g_mime_part_is_attachment(part) || fileName != nullptr) {
        content.attachments.push_back({fileName != nullptr ? fileName : "", DecodedContent(part)});
    } else if (content.noteText.empty() && IsPlainText(object)) {
        content.noteText = DecodedContent(part);
    }
}

}  // namespace

std::string RecipientAddress(const MailRecipient& recipient) {
    std::string_view address = recipient.address.empty() ? recipient.name : recipient.address;
    if (address.size() >= 5 &&
        (address.substr(0, 5) == "SMTP:" || address.substr(0, 5) == "smtp:")) {
        address.remove_prefix(5);
    }
    while (!address.empty() && address.front() == ' ') {
        address.remove_prefix(1);
    }
    while (!address.empty() && address.back() == ' ') {
        address.remove_suffix(1);
    }
    return std::string(address);
}

std::string BuildMessageText(const MailMessage& message, const MessageSender& sender,
                             std::time_t date, std::string_view newline) {
    InitGMime();
    GObjectPtr<GMimeMessage> mail(g_mime_message_new(TRUE));
    g_mime_message_add_mailbox(mail.get(), GMIME_ADDRESS_TYPE_FROM, sender.name.c_str(),
                               sender.address.c_str());
    for (const MailRecipient& recipient : message.recipients) {
        g_mime_message_add_mailbox(mail.get(), GMIME_ADDRESS_TYPE_TO, nullptr,
                                   RecipientAddress(recipient).c_str());
    }
    g_mime_message_set_subject(mail.get(), SubjectLine(message.subject).c_str(), "utf-8");
    g_mime_object_set_header(GMIME_OBJECT(mail.get()), "Date", DateHeader(date).c_str(), nullptr);
    const std::string domain = sender.address.substr(sender.address.find('@') + 1);
    const std::unique_ptr<char, GFree> id(g_mime_utils_generate_message_id(domain.c_str()));
    g_mime_message_set_message_id(mail.get(), id.get());
    g_mime_object_set_header(GMIME_OBJECT(mail.get()), kMessageTypeHeader,
                             message.messageType.c_str(), nullptr);

    GObjectPtr<GMimeTextPart> body(g_mime_text_part_new_with_subtype("plain"));
    g_mime_text_part_set_text(body.get(), Normalized(message.noteText, "\n").c_str());
    g_mime_part_set_content_encoding(GMIME_PART(body.get()),
                                     g_mime_part_get_best_content_encoding(
                                         GMIME_PART(body.get()), GMIME_ENCODING_CONSTRAINT_7BIT));
    g_mime_message_set_mime_part(mail.get(), GMIME_OBJECT(body.get()));

    const std::unique_ptr<GMimeFormatOptions, FormatOptionsFree> options(
        g_mime_format_options_new());
    g_mime_format_options_set_newline_format(
        options.get(), newline == "\r\n" ? GMIME_NEWLINE_FORMAT_DOS : GMIME_NEWLINE_FORMAT_UNIX);
    const std::unique_ptr<char, GFree> text(
        g_mime_object_to_string(GMIME_OBJECT(mail.get()), options.get()));
    return Normalized(text.get(), newline);
}

void SummarizeHeader(std::string_view header, MessageSummary& summary) {
    std::string block(header);
    if (!block.ends_with("\n\n") && !block.ends_with("\r\n\r\n")) {
        block += "\r\n";
    }
    block += "\r\n";
    const GObjectPtr<GMimeMessage> message = ParseText(block);
    if (!message) {
        return;
    }
    if (const char* subject = g_mime_message_get_subject(message.get()); subject != nullptr) {
        summary.subject = subject;
    }
    summary.from = DisplayFrom(message.get());
    GMimeObject* object = GMIME_OBJECT(message.get());
    // A message's Content-Type belongs to its MIME part, which a header alone still has.
    GMimeObject* part = g_mime_message_get_mime_part(message.get());
    if (const char* type = g_mime_object_get_header(object, kMessageTypeHeader)) {
        summary.type = type;
    } else if (part != nullptr && g_mime_object_get_header(part, "Content-Type") != nullptr) {
        const std::unique_ptr<char, GFree> media(
            g_mime_content_type_get_mime_type(g_mime_object_get_content_type(part)));
        summary.type = media.get();
    }
    summary.hasAttachments = summary.type == "multipart/mixed";
}

std::string ReceivedText(std::time_t when) {
    std::tm local{};
    if (localtime_r(&when, &local) == nullptr) {
        return {};
    }
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y/%m/%d %H:%M", &local);
    return text.data();
}

bool ParseMessage(std::string_view raw, MessageContent& content) {
    const GObjectPtr<GMimeMessage> message = ParseText(raw);
    if (!message) {
        return false;
    }
    if (const char* subject = g_mime_message_get_subject(message.get()); subject != nullptr) {
        content.subject = subject;
    }
    g_mime_message_foreach(message.get(), TakePart, &content);
    return true;
}

}  // namespace mandrel
