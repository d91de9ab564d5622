// Books by their number and in an order of one's own.
#include <tarnwillow/containers/CCollection.h>
#include <tarnwillow/containers/CHashedCollection.h>
#include <tarnwillow/containers/CIterator.h>

#include <cstdio>
#include <cstring>

using namespace tarnwillow;

int by_text(void* a, void* b, void*) {
    const int order = std::strcmp(static_cast<char*>(a), static_cast<char*>(b));
    return order > 0 ? 1 : order < 0 ? -1 : 0;
}

int main() {
    CHashedCollection shelf(u"shelf");
    if (shelf.Initialize(100) != 0) return 1;
    char const* const titles[] = {"Rivers", "Clocks", "Stones"};
    for (long number = 0; number < 3; ++number)
        shelf.Add_Volatile(number, titles[number],
                           static_cast<long>(std::strlen(titles[number]) + 1));

    void* title = nullptr;
    long length = 0;  // in bytes
    if (shelf.Find(1, &title, &length) == 0) std::printf("1 is %s\n", static_cast<char*>(title));

    CCollection sorted(u"sorted");  // of plain values: the copies stay the table's
    CIterator walk;
    for (void* book = walk.Iterate(&shelf); walk.More(); book = walk.Next())
        sorted.Add(book);
    sorted.Set_Sort_Callback(by_text, nullptr);
    sorted.Sort(true);
    for (void* book = walk.Iterate(&sorted); walk.More(); book = walk.Next())
        std::printf("%s\n", static_cast<char*>(book));
}
