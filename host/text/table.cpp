#include "host/text/table.h"

#include <fmt/format.h>

#include <algorithm>

namespace host {

namespace {

constexpr const char *gap = "  ";

std::size_t width_of(const TableColumn &column, std::size_t place, const std::vector<TableRow> &rows) {
  std::size_t width = column.head.size();
  for (const TableRow &row : rows) width = std::max(width, row[place].size());
  return width;
}

std::string padded(const std::string &text, Align align, std::size_t width) {
  return align == Align::right ? fmt::format("{:>{}}", text, width) : fmt::format("{:<{}}", text, width);
}

}  // namespace

std::vector<std::string> table_lines(const std::vector<TableColumn> &columns,
                                     const std::vector<TableRow> &rows) {
  std::vector<std::string> lines(1 + rows.size());
  for (std::size_t place = 0; place < columns.size(); ++place) {
    const TableColumn &column = columns[place];
    const std::size_t width = width_of(column, place, rows);
    const char *before = place == 0 ? "" : gap;
    lines[0] += before + padded(column.head, column.align, width);
    for (std::size_t i = 0; i < rows.size(); ++i)
      lines[i + 1] += before + padded(rows[i][place], column.align, width);
  }
  return lines;
}

}  // namespace host
