// Tables for people: rows under heads, each column as wide as its widest cell.
#pragma once

#include <string>
#include <vector>

namespace host {

enum class Align { left, right };

struct TableColumn {
  std::string head;
  Align align = Align::left;
};

using TableRow = std::vector<std::string>;  ///< as many cells as columns

/// The line of the heads, then one line for each row, without line ends. Two blanks separate the columns; every
/// line is as wide as the table.
std::vector<std::string> table_lines(const std::vector<TableColumn> &columns,
                                     const std::vector<TableRow> &rows);

}  // namespace host
