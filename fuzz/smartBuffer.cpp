// A sequence of edits, searches and reads, read from the input, on a CSmartBuffer and on a model of
// plain strings. After each step both must agree: result, data, cursor and capacity.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "tarnwillow/text/CSmartBuffer.h"

namespace {

using namespace tarnwillow;

constexpr std::size_t kLargestModel = 1 << 12;
constexpr std::size_t kLargestResult = 1 << 16;

class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : at_(data), end_(data + size) {}
    bool empty() const { return at_ == end_; }
    std::uint8_t byte() { return empty() ? std::uint8_t{0} : *at_++; }
    std::string text() {
        std::string made;
        for (std::size_t left = byte() % 40; left > 0 && !empty(); --left)
            made += static_cast<char>(byte());
        return made;
    }
    std::string terminated() { return text().c_str(); }

private:
    const std::uint8_t* at_;
    const std::uint8_t* end_;
};

void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "the buffer and its model differ: %s\n", what);
    std::abort();
}

std::string lowered(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    return text;
}

// All of the storage, of which the first `end` bytes are data.
struct Model {
    std::string storage;
    std::size_t end = 0;
    std::size_t cursor = 0;

    std::string data() const { return storage.substr(0, end); }

    void grow(std::size_t capacity) { storage.resize(capacity); }

    void make_room(std::size_t needed) {
        if (cursor + needed > storage.size()) grow(2 * std::max(needed, storage.size()));
    }

    void write(const std::string& text) {
        make_room(text.size());
        storage.replace(cursor, text.size(), text);
        cursor += text.size();
        end = std::max(end, cursor);
    }

    void insert(const std::string& text) {
        while (end + text.size() > storage.size())
            grow(2 * (storage.size() + 1));
        if (cursor > end) {
            std::fill(storage.begin() + static_cast<long>(end),
                      storage.begin() + static_cast<long>(cursor), '\0');
            end += text.size();
        } else {
            const std::string tail = storage.substr(cursor, end - cursor);
            end += text.size();
            storage.replace(end - tail.size(), tail.size(), tail);
        }
        write(text);
    }

    void erase(std::size_t count) {
        const std::string tail = storage.substr(cursor + count, end - cursor - count);
        storage.replace(cursor, tail.size(), tail);
        end -= count;
    }

    long search(const std::string& text, bool from_start, bool skip, bool no_case) {
        const std::size_t from = from_start ? 0 : cursor + (skip ? 1 : 0);
        if (from > end) return -1;
        const std::size_t at =
            no_case ? lowered(data()).find(lowered(text), from) : data().find(text, from);
        if (at == std::string::npos) return -1;
        cursor = at;
        return 0;
    }

    void replace(const std::string& find, const std::string& with, bool all) {
        if (find.empty()) return;
        cursor = 0;
        while (search(find, false, false, false) == 0) {
            erase(find.size());
            insert(with);
            if (!all) break;
        }
        if (cursor > end) cursor = 0;
    }

    std::pair<long, std::string> line(std::size_t limit) {
        if (cursor >= storage.size()) return {-1, ""};
        std::string text;
        std::size_t at = cursor;
        while (at < storage.size() && storage[at] != '\r' && text.size() < limit)
            text += storage[at++];
        if (text.size() == limit) return {ERROR_INSUFFICIENT_BUFFER, ""};
        if (at < storage.size()) ++at;
        if (at < storage.size() && at > cursor && storage[at - 1] == '\r' && storage[at] == '\n')
            ++at;
        cursor = at;
        return {0, text};
    }
};

class Pair {
public:
    void step(Input& input) {
        if (model_.storage.size() > kLargestModel) initialize(1);
        switch (input.byte() % 12) {
            case 0:
                return initialize(input.byte());
            case 1:
                return write(input.text());
            case 2:
                return insert(input.text());
            case 3:
                return erase(input.byte());
            case 4:
                return move(input.byte());
            case 5:
                return search(input);
            case 6:
                return replace(input);
            case 7:
                return read(input.byte());
            case 8:
                return line(input.byte() % 32);
            case 9:
                return terminate(input.byte() % 2 != 0);
            case 10:
                return convert(input.byte() % 2 != 0);
            default:
                return self_insert();
        }
    }

    void compare() {
        require(buffer_.Get_Current_Buffer_Max_Size() == model_.storage.size(), "capacity");
        require(buffer_.Get_End_Of_Data() == model_.end, "end of data");
        require(buffer_.Get_Current_Offset() == model_.cursor, "cursor");
        require(stored(model_.end) == model_.data(), "data");
        model_.storage = stored(model_.storage.size());
    }

private:
    std::string stored(std::size_t size) {
        const char* start = buffer_;
        return size != 0 ? std::string(start, size) : std::string();
    }

    void initialize(std::size_t size) {
        require(buffer_.Initialize(static_cast<long>(size)) == 0, "Initialize");
        model_ = {std::string(size, '\0'), 0, 0};
    }
    void write(const std::string& text) {
        require(buffer_.Write(text.data(), static_cast<long>(text.size())) == 0, "Write");
        model_.write(text);
    }
    void insert(const std::string& text) {
        require(buffer_.Insert(text.data(), static_cast<long>(text.size())) == 0, "Insert");
        model_.insert(text);
    }
    void self_insert() {
        const std::string all = model_.data();
        require(buffer_.Insert(&buffer_) == 0, "Insert of itself");
        model_.insert(all);
    }
    void erase(std::size_t count) {
        const bool fits = model_.cursor + count <= model_.end || count == 0;
        require(buffer_.Delete(static_cast<long>(count)) == (fits ? 0 : -1), "Delete");
        if (fits && count != 0) model_.erase(count);
    }
    void move(std::size_t to) {
        const bool fits = to <= model_.storage.size();
        require(buffer_.Move_To(to) == (fits ? 0 : -1), "Move_To");
        if (fits) model_.cursor = to;
    }
    void search(Input& input) {
        const int flags = input.byte();
        const std::string text = input.terminated();
        const bool start = (flags & 1) != 0, skip = (flags & 2) != 0, no_case = (flags & 4) != 0;
        const long expected = model_.search(text, start, skip, no_case);
        const long result = no_case ? buffer_.Move_To_NCS(text.c_str(), start, skip)
                                    : buffer_.Move_To(text.c_str(), start, skip);
        require(result == expected, "search");
    }
    void replace(Input& input) {
        const bool all = input.byte() % 2 != 0;
        const std::string find = input.terminated(), with = input.terminated();
        if (model_.end * (with.size() + 1) > kLargestResult) return;
        require(buffer_.Search_And_Replace(find.c_str(), with.c_str(), all) == 0, "replacing");
        model_.replace(find, with, all);
        model_.storage.resize(std::max(model_.storage.size(), model_.end));
    }
    void read(std::size_t count) {
        std::string text(count, '~');
        const bool fits = model_.cursor + count <= model_.end;
        const long result = buffer_.Read(text.data(), static_cast<long>(count), true);
        require(result == (fits ? 0 : -1), "Read");
        if (!fits) return;
        require(text == model_.data().substr(model_.cursor, count), "bytes read");
        model_.cursor += count;
    }
    void line(std::size_t limit) {
        std::string text(limit, '~');
        long size = static_cast<long>(limit);
        const long result = buffer_.Next_Line(text.data(), &size, true);
        const auto [expected, line] = model_.line(limit);
        require(result == expected, "Next_Line");
        if (result == 0) require(text.substr(0, static_cast<std::size_t>(size)) == line, "line");
    }
    void terminate(bool advance) {
        require(buffer_.Null_Terminate(advance) == 0, "Null_Terminate");
        const std::size_t cursor = model_.cursor, end = model_.end;
        model_.write(std::string(1, '\0'));
        if (!advance) model_.cursor = cursor;
        if (!advance) model_.end = end;
    }
    // What the text becomes is another's affair: the limits must hold, and the model follows.
    void convert(bool to_unicode) {
        static_cast<void>(to_unicode ? buffer_.Convert_To_Unicode() : buffer_.Convert_To_Asci());
        const std::size_t capacity = buffer_.Get_Current_Buffer_Max_Size();
        model_.end = buffer_.Get_End_Of_Data();
        model_.cursor = buffer_.Get_Current_Offset();
        require(model_.end <= capacity && model_.cursor <= capacity, "limits after converting");
        model_.storage = stored(capacity);
    }

    CSmartBuffer buffer_;
    Model model_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    Pair pair;
    while (!input.empty()) {
        pair.step(input);
        pair.compare();
    }
    return 0;
}
