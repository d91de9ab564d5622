#include "xmlDocument.h"

#include <cstring>
#include <string_view>

#include "download.h"
#include "tarnwillow/files/CDiskFile.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/text/CSmartBuffer.h"

namespace tarnwillow::cli {

namespace {

constexpr unsigned long kUtf16Mark = 2;
constexpr char kUtf8Mark[] = "\xEF\xBB\xBF";
constexpr long kUtf8MarkSize = sizeof kUtf8Mark - 1;

std::u16string_view data(const CSmartBuffer& buffer) {
    return {static_cast<char16_t const*>(buffer), buffer.Get_End_Of_Data() / sizeof(char16_t)};
}

/// The place behind the next `closing`, or the end of the text.
std::size_t behind(std::u16string_view text, std::size_t from, std::u16string_view closing) {
    const std::size_t at = text.find(closing, from);
    return at == std::u16string_view::npos ? text.size() : at + closing.size();
}

/// The end of a declaration or comment that begins at `at`, or `at` itself.
std::size_t behind_remark(std::u16string_view text, std::size_t at) {
    if (text.compare(at, 2, u"<?") == 0) return behind(text, at + 2, u"?>");
    if (text.compare(at, 4, u"<!--") == 0) return behind(text, at + 4, u"-->");
    return at;
}

/// The end of a document type declaration. Its ">" stands outside quotes, remarks and the brackets
/// of an internal subset.
std::size_t behind_document_type(std::u16string_view text, std::size_t at) {
    bool in_subset = false;
    while (at < text.size()) {
        const char16_t c = text[at];
        const std::size_t remark_end = behind_remark(text, at);
        if (remark_end != at) {
            at = remark_end;
            continue;
        }
        if (c == u'"' || c == u'\'') {
            at = behind(text, at + 1, {&c, 1});
            continue;
        }
        if (c == u'[' || c == u']') in_subset = c == u'[';
        ++at;
        if (c == u'>' && !in_subset) return at;
    }
    return at;
}

// The parser demands "<" first, and takes "<!DOCTYPE" for the start of an element that never ends.
// So it is given the document from its first element on.
std::size_t document_element(std::u16string_view text, std::size_t at) {
    for (;;) {
        at = text.find_first_not_of(u" \t\r\n", at);
        if (at == std::u16string_view::npos) return text.size();
        std::size_t end = behind_remark(text, at);
        if (text.compare(at, 9, u"<!DOCTYPE") == 0) end = behind_document_type(text, at);
        if (end == at) return at;
        at = end;
    }
}

long load_file(char const* file, CSmartBuffer& buffer) {
    CDiskFile disk;
    const long opened = disk.Open(file, false, false);
    return opened == S_OK ? buffer.Initialize_From_File(&disk) : opened;
}

long load_url(char const* url, CSmartBuffer& buffer, std::string* reason) {
    Download download;
    const bool answered = download.open(url);
    if (answered && download.status() == 200 && download.read_into(buffer)) return S_OK;
    *reason = download.reason();
    if (!reason->empty()) return E_FAIL;
    *reason = "the server answered with status " + std::to_string(download.status());
    const std::string target = download.redirect_target();
    if (!target.empty()) *reason += ", which leads to " + target;
    return E_FAIL;
}

long make_unicode(CSmartBuffer& buffer) {
    buffer.Move_To(0UL);
    if (buffer.Is_Unicode_File()) return buffer.Move_To(kUtf16Mark);
    const bool marked =
        buffer.Get_End_Of_Data() >= static_cast<unsigned long>(kUtf8MarkSize) &&
        std::memcmp(buffer.Current_Ptr(), kUtf8Mark, static_cast<std::size_t>(kUtf8MarkSize)) == 0;
    if (marked) buffer.Delete(kUtf8MarkSize);
    return buffer.Convert_To_Unicode();
}

}  // namespace

long read_document(char const* source, std::unique_ptr<CXMLParser>* parser, std::string* reason) {
    CSmartBuffer buffer;
    long result = is_url(source) ? load_url(source, buffer, reason) : load_file(source, buffer);
    if (result == S_OK) result = make_unicode(buffer);
    if (result != S_OK) return result;
    const std::size_t first = buffer.Get_Current_Offset() / sizeof(char16_t);
    buffer.Move_To(document_element(data(buffer), first) * sizeof(char16_t));
    CXMLParser* made = nullptr;
    result = buffer.Create_XML_Parser(&made);
    if (result == S_OK) parser->reset(made);
    return result;
}

std::u16string to_wide(char const* text) {
    CSmartBuffer buffer;
    if (buffer.Write(text) != S_OK || buffer.Convert_To_Unicode() != S_OK) return {};
    return std::u16string(data(buffer));
}

}  // namespace tarnwillow::cli
