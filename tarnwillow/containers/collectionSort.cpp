// CCollection::Sort. The order is the one that repeated passes over neighbours give: stable, and
// moved only by answers of exactly 1 or -1. A callback that keeps to 1, 0 and -1 gets there by
// merging, in n log n calls; for any other the passes themselves are made.
#include <algorithm>
#include <memory>
#include <new>
#include <utility>

#include "tarnwillow/containers/CCollection.h"

namespace tarnwillow {

namespace {

/// What moves when two items change places.
struct Content {
    void* value;
    std::uint32_t flags;
    std::int32_t size;
};

Content content_of(const CListItem& item) { return {item.value, item.flags, item.size}; }

void set_content(CListItem& item, const Content& content) {
    item.value = content.value;
    item.flags = content.flags;
    item.size = content.size;
}

struct Order {
    CCollection::SortProc proc;
    void* context;
    int wanted;
    bool unusual = false;  // an answer other than 1, 0 and -1 came

    bool out_of_order(const Content& a, const Content& b) {
        const int answer = proc(a.value, b.value, context);
        unusual = unusual || answer < -1 || answer > 1;
        return answer == wanted;
    }
};

// Merges source[begin, middle) and source[middle, end) into dest at the same places.
void merge(const Content* source, Content* dest, long begin, long middle, long end, Order& order) {
    long left = begin;
    long right = middle;
    for (long at = begin; at < end; ++at) {
        const bool take_right =
            left == middle || (right < end && order.out_of_order(source[left], source[right]));
        dest[at] = source[take_right ? right++ : left++];
    }
}

// Sorts `count` contents with as many places behind them; gives where the result lies.
Content* merge_runs(Content* contents, long count, Order& order) {
    Content* source = contents;
    Content* dest = contents + count;
    for (long width = 1; width < count && !order.unusual; width *= 2) {
        for (long begin = 0; begin < count; begin += 2 * width)
            merge(source, dest, begin, std::min(begin + width, count),
                  std::min(begin + 2 * width, count), order);
        std::swap(source, dest);
    }
    return source;
}

}  // namespace

// Sorts all but the last `settled` items, which a pass has put in their place. False if that failed
// or may not be done by merging: then nothing moved.
bool CCollection::sort_by_merging(int wanted, long settled) {
    const long moving = count - settled;
    const auto places = static_cast<std::size_t>(moving) * 2;
    const std::unique_ptr<Content[]> contents(new (std::nothrow) Content[places]);
    if (contents == nullptr) return false;
    long index = 0;
    for (const CListItem* item = head; index < moving; item = item->next)
        contents[static_cast<std::size_t>(index++)] = content_of(*item);
    Order order{sort_procedure, sort_context, wanted};
    const Content* sorted = merge_runs(contents.get(), moving, order);
    if (order.unusual) return false;
    for (CListItem* item = head; index > 0; item = item->next, --index)
        set_content(*item, *sorted++);
    return true;
}

// One pass over neighbours, from the head up to `end`.
CCollection::PassResult CCollection::sort_pass(const CListItem* end, int wanted) {
    Order order{sort_procedure, sort_context, wanted};
    PassResult result{false, false};
    for (CListItem* item = head; item != end && item->next != nullptr; item = item->next) {
        const Content first = content_of(*item);
        const Content second = content_of(*item->next);
        if (!order.out_of_order(first, second)) continue;
        set_content(*item, second);
        set_content(*item->next, first);
        result.changed = true;
    }
    result.unusual = order.unusual;
    return result;
}

void CCollection::Sort(bool ascending) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Sort", name);
    if (sort_procedure == nullptr || count < 2) return;
    const int wanted = ascending ? 1 : -1;
    // The first pass finds lists in order, and most callbacks that answer otherwise than 1, 0 or
    // -1.
    PassResult pass = sort_pass(tail, wanted);
    if (pass.changed && !pass.unusual && sort_by_merging(wanted, 1)) return;
    for (const CListItem* end = tail->prev; pass.changed && end != nullptr; end = end->prev)
        pass = sort_pass(end, wanted);
}

}  // namespace tarnwillow
