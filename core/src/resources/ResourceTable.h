#pragma once
// The compiled form of the message files in core/res: one sorted table per module and language,
// generated at build time (cmake/EmbedResources.cmake).

#include <cstddef>

namespace core::detail {

struct ResourceEntry {
  const char* key;
  const char16_t* text;
};

struct ResourceTable {
  const char* module;
  const char* language;
  const ResourceEntry* entries;  // sorted by key (byte order)
  std::size_t count;
};

extern const ResourceTable kResourceTables[];
extern const std::size_t kResourceTableCount;

}  // namespace core::detail
