#include "statusWords.h"

#include <cstdio>

#include "tarnwillow/platform/status.h"

namespace tarnwillow::cli {

namespace {

struct StatusText {
    long status;
    char const* name;
    char const* text;
};

constexpr StatusText kStatusTexts[] = {
#define TARNWILLOW_STATUS_TEXT(name, number, text) {status(number), #name, text},
    TARNWILLOW_STATUS_LIST(TARNWILLOW_STATUS_TEXT)
#undef TARNWILLOW_STATUS_TEXT
};

}  // namespace

std::string status_words(long status) {
    for (const StatusText& known : kStatusTexts)
        if (known.status == status) return std::string(known.name) + ": " + known.text;
    char words[32];
    std::snprintf(words, sizeof words, "status 0x%08X", static_cast<unsigned>(status));
    return words;
}

}  // namespace tarnwillow::cli
