#include "host/shell/output.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "host/shell/lists.h"

namespace shell {
namespace {

using nlohmann::ordered_json;

std::string cell_text(const Cell &cell) {
  return std::visit([](const auto &value) { return fmt::format("{}", value); }, cell);
}

std::size_t width_of(const Output &result, std::size_t column) {
  std::size_t width = result.columns[column].title.size();
  for (const auto &row : result.rows) {
    width = std::max(width, cell_text(row[column]).size());
  }
  return width;
}

/// Names are left-aligned in their column, numbers right-aligned.
std::string aligned(const Column &column, const std::string &text, std::size_t width) {
  return column.type == ColumnType::number ? fmt::format("{:>{}}", text, width)
                                           : fmt::format("{:<{}}", text, width);
}

std::string table_text(const Output &result, bool emphasis) {
  std::string head;
  std::vector<std::string> lines(result.rows.size());
  for (std::size_t i = 0; i < result.columns.size(); ++i) {
    const Column &column = result.columns[i];
    const std::size_t width = width_of(result, i);
    const char *gap = i == 0 ? "" : "  ";
    head += gap + aligned(column, column.title, width);
    for (std::size_t row = 0; row < lines.size(); ++row) {
      lines[row] += gap + aligned(column, cell_text(result.rows[row][i]), width);
    }
  }
  std::string text = emphasis ? fmt::format("\033[1m{}\033[0m\n", head) : head + "\n";
  for (const std::string &line : lines) {
    text += line + "\n";
  }
  return text;
}

ordered_json document(const std::string &command, bool ok) {
  return {{"version", 1},
          {"command", command},
          {"ok", ok},
          {"rows", ordered_json::array()},
          {"text", ""},
          {"error", ""},
          {"rejected", ordered_json::array()}};
}

/// One line. Bytes that are not UTF-8 are replaced, because a program's answer may hold any bytes.
std::string line_of(const ordered_json &value) {
  return value.dump(-1, ' ', false, ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace

std::string render_text(const Output &result, bool emphasis) {
  if (result.columns.empty()) {
    return result.text;
  }
  return result.rows.empty() ? result.empty + "\n" : table_text(result, emphasis);
}

std::string render_json(const std::string &command, const Output &result) {
  ordered_json json = document(command, true);
  for (const auto &row : result.rows) {
    ordered_json object;
    for (std::size_t i = 0; i < result.columns.size(); ++i) {
      std::visit([&](const auto &value) { object[result.columns[i].key] = value; }, row[i]);
    }
    json["rows"].push_back(std::move(object));
  }
  json["text"] = result.text;
  return line_of(json);
}

std::string render_json(const std::string &command, const CommandFailure &failure) {
  ordered_json json = document(command, false);
  json["error"] = failure.what;
  for (const Range &range : failure.rejected) {
    json["rejected"].push_back({{"first", range.lower}, {"last", range.upper}});
  }
  return line_of(json);
}

std::string render_failure(const CommandFailure &failure) {
  std::string text = fmt::format("{}\n", failure.what);
  if (!failure.rejected.empty()) {
    text += fmt::format("Rejected: {}\n", ranges_text(failure.rejected));
  }
  return text;
}

}  // namespace shell
