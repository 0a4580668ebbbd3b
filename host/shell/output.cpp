#include "host/shell/output.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>

#include "host/shell/lists.h"
#include "host/text/table.h"

namespace shell {
namespace {

using nlohmann::ordered_json;

std::string cell_text(const Cell &cell) {
  return std::visit([](const auto &value) { return fmt::format("{}", value); }, cell);
}

/// Names are left-aligned in their column, numbers right-aligned.
host::TableColumn table_column(const Column &column) {
  return {column.title, column.type == ColumnType::number ? host::Align::right : host::Align::left};
}

host::TableRow table_row(const std::vector<Cell> &cells) {
  host::TableRow row;
  std::transform(cells.begin(), cells.end(), std::back_inserter(row), cell_text);
  return row;
}

std::string table_text(const Output &result, bool emphasis) {
  std::vector<host::TableColumn> columns;
  std::vector<host::TableRow> rows;
  std::transform(result.columns.begin(), result.columns.end(), std::back_inserter(columns), table_column);
  std::transform(result.rows.begin(), result.rows.end(), std::back_inserter(rows), table_row);
  std::vector<std::string> lines = host::table_lines(columns, rows);
  if (emphasis) {
    lines.front() = fmt::format("\033[1m{}\033[0m", lines.front());
  }
  return fmt::format("{}\n", fmt::join(lines, "\n"));
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
