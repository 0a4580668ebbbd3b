// The daemon's trace categories: their numbers, and the names that people use.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace chassis {

struct TraceCategory {
  std::uint32_t number;
  std::string_view name;
};

inline constexpr std::array trace_categories{TraceCategory{100, "packet"}, TraceCategory{101, "control"},
                                             TraceCategory{102, "error"}};

constexpr std::optional<std::uint32_t> category_number(std::string_view name) {
  for (const TraceCategory &category : trace_categories) {
    if (category.name == name) return category.number;
  }
  return std::nullopt;
}

/// The name of a category, or its number as text if it has no name.
inline std::string category_name(std::uint32_t number) {
  for (const TraceCategory &category : trace_categories) {
    if (category.number == number) return std::string(category.name);
  }
  return std::to_string(number);
}

}  // namespace chassis
