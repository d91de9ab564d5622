// The bytes of the table of running instances, as all processes see them.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace tarnwillow::detail {

static_assert(std::endian::native == std::endian::little, "the shared layouts are little-endian");

struct InstanceRecord {
    static constexpr std::size_t kTextSize = 256;

    char application[kTextSize];  ///< terminated, as the other two
    char qualifier[kTextSize];    ///< tells apart instances of one application
    char title[kTextSize];        ///< the window's when the record was made or updated; the last
                                  ///< four bytes, behind its end, are its process's number
    std::uint32_t window;         ///< its handle
};
static_assert(sizeof(InstanceRecord) == 772);
static_assert(offsetof(InstanceRecord, qualifier) == 256 &&
              offsetof(InstanceRecord, title) == 512 && offsetof(InstanceRecord, window) == 768);

struct InstanceShare {
    static constexpr std::int32_t kPlaces = 50;
    static constexpr std::int32_t kMostRecords = 49;  ///< the last place stays free

    std::int32_t count;
    InstanceRecord records[kPlaces];  ///< those in use in front, in order of registration
};
static_assert(sizeof(InstanceShare) == 38604 && offsetof(InstanceShare, records) == 4);

}  // namespace tarnwillow::detail
