#include "tarnwillow/platform/argumentText.h"

#include <algorithm>

namespace tarnwillow::platform {

namespace {

constexpr bool separates(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

class ArgumentReader {
public:
    explicit ArgumentReader(std::string_view text) : rest_(text) {}

    /// False when no argument is left.
    bool next(std::string* argument) {
        skip_separators();
        if (rest_.empty()) return false;
        argument->clear();
        while (!rest_.empty() && (quoted_ || !separates(rest_.front())))
            take_piece(argument);
        quoted_ = false;
        return true;
    }

private:
    void skip_separators() {
        while (!rest_.empty() && separates(rest_.front()))
            rest_.remove_prefix(1);
    }

    void take_piece(std::string* argument) {
        const std::size_t backslashes = std::min(rest_.find_first_not_of('\\'), rest_.size());
        rest_.remove_prefix(backslashes);
        const bool quote = !rest_.empty() && rest_.front() == '"';
        argument->append(quote ? backslashes / 2 : backslashes, '\\');
        if (!quote && backslashes > 0) return;
        if (quote && backslashes % 2 == 0)
            quoted_ = !quoted_;
        else
            *argument += rest_.front();
        rest_.remove_prefix(1);
    }

    std::string_view rest_;
    bool quoted_ = false;
};

}  // namespace

std::vector<std::string> split_arguments(std::string_view text) {
    std::vector<std::string> arguments;
    ArgumentReader reader(text);
    for (std::string argument; reader.next(&argument);)
        arguments.push_back(argument);
    return arguments;
}

}  // namespace tarnwillow::platform
