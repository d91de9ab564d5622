// Any UTF-16 text as a URL: what is taken apart is terminated, fits, and holds nothing that the
// text did not.
#include <cstdlib>
#include <memory>

#include "tarnwillow/text/urlParsing.h"
#include "terminatedText.h"

namespace {

using namespace tarnwillow;

template <std::size_t room>
std::size_t checked_length(char16_t const (&text)[room]) {
    for (std::size_t length = 0; length < room; ++length)
        if (text[length] == 0) return length;
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const auto url = fuzz::terminated<char16_t>(bytes, size);
    const auto description = std::make_unique<InternetResourceDesc>();
    const long result = Parse_URL(url.get(), description.get());
    if (result != S_OK) return result == E_INVALIDARG ? 0 : (std::abort(), 0);
    const std::size_t host = checked_length(description->Host);
    const std::size_t path = checked_length(description->Path);
    const std::size_t most = fuzz::length(url.get());
    if (host > 254 || path == 0 || path > 2046 || host + path > most) std::abort();
    return 0;
}
