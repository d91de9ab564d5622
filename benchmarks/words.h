// Text that looks like text: words of a small vocabulary, the short ones more often.
#pragma once

#include <cstddef>
#include <random>
#include <string>

namespace tarnwillow::bench {

inline std::string make_words(std::size_t size) {
    static constexpr const char* kWords[] = {
        "the",     "of",       "and",     "to",        "in",       "is",        "that",
        "it",      "was",      "for",     "on",        "are",      "with",      "as",
        "his",     "they",     "be",      "at",        "one",      "have",      "this",
        "from",    "word",     "but",     "what",      "some",     "were",      "we",
        "can",     "out",      "other",   "there",     "all",      "your",      "when",
        "up",      "use",      "how",     "said",      "each",     "which",     "their",
        "time",    "will",     "way",     "about",     "many",     "then",      "them",
        "write",   "would",    "like",    "these",     "long",     "make",      "thing",
        "see",     "him",      "two",     "has",       "look",     "more",      "day",
        "could",   "come",     "did",     "number",    "sound",    "people",    "over",
        "know",    "water",    "than",    "call",      "first",    "down",      "side",
        "been",    "now",      "find",    "standard",  "language", "structure", "question",
        "quickly", "example",  "subject", "mountain",  "science",  "important", "together",
        "nothing", "possible", "English", "Different", "North",    "River",     "London"};
    std::mt19937 random(1);
    std::geometric_distribution<std::size_t> rank(0.04);
    std::string text;
    text.reserve(size + 32);
    while (text.size() < size) {
        text += kWords[rank(random) % std::size(kWords)];
        text += random() % 12 == 0 ? (random() % 3 == 0 ? ".\r\n" : ", ") : " ";
    }
    text.resize(size);
    return text;
}

inline std::u16string widen(const std::string& text) { return {text.begin(), text.end()}; }

}  // namespace tarnwillow::bench
