#include "tests/standin/record.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "tests/standin/sites.h"
#include "tests/standin/text.h"

namespace standin {

namespace {

struct Record {
  Lines lines;
  bool ignoring = false;
};

Record the_record;

const char *category(Line::Kind kind) {
  switch (kind) {
    case Line::Kind::packet:
      return "packet";
    case Line::Kind::control:
      return "control";
    case Line::Kind::error:
      return "error";
    default:
      return "";
  }
}

std::string cell(const Lines &lines, size_t row) {
  return row < lines.size() ? lines[row].shown() : std::string("-");
}

size_t first_difference(const Lines &expected, const Lines &actual) {
  const auto [position, other] = std::ranges::mismatch(
      expected, actual, [](const Line &wanted, const Line &got) { return wanted.matches(got); });
  return static_cast<size_t>(position - expected.begin());
}

std::string padded(std::string text, size_t width) {
  text.resize(std::max(width, text.size()), ' ');
  return text;
}

std::string side_by_side(const Lines &expected, const Lines &actual, size_t difference) {
  size_t width = 8;
  for (const Line &line : expected) width = std::max(width, line.shown().size());
  std::string table = "    " + padded("expected", width) + " | actual\n";
  for (size_t row = 0; row < std::max(expected.size(), actual.size()); ++row) {
    table += row == difference ? "--> " : "    ";
    table += padded(cell(expected, row), width) + " | " + cell(actual, row) + "\n";
  }
  return table;
}

void note_traces(const Lines &asserted) {
  for (const Line &line : asserted) {
    if (line.kind != Line::Kind::call)
      note_trace(category(line.kind), line.function.value_or(""), line.number, line.text);
  }
}

void compare(const Lines &expected, const Lines &actual, Location location) {
  const size_t difference = first_difference(expected, actual);
  if (difference == expected.size() && difference == actual.size()) return note_traces(actual);
  ADD_FAILURE_AT(location.file, location.line) << "the record differs from line " << difference + 1 << " on\n"
                                               << side_by_side(expected, actual, difference);
}

Lines take() { return std::exchange(the_record.lines, {}); }

template <class Unwanted>
Lines take_without(Unwanted unwanted) {
  Lines lines = take();
  std::erase_if(lines, [&](const Line &line) { return unwanted(line.kind); });
  return lines;
}

}  // namespace

std::string Line::shown() const {
  if (kind == Kind::call) return escaped(text);
  return std::string(category(kind)) + (function ? " " + *function : "") + ": " + escaped(text);
}

bool Line::matches(const Line &actual) const {
  return kind == actual.kind && text == actual.text && (!function || function == actual.function);
}

Line packet(std::string text) { return {Line::Kind::packet, std::nullopt, std::move(text)}; }
Line control(std::string text) { return {Line::Kind::control, std::nullopt, std::move(text)}; }
Line error(std::string text) { return {Line::Kind::error, std::nullopt, std::move(text)}; }

Line packet(std::string function, std::string text) {
  return {Line::Kind::packet, std::move(function), std::move(text)};
}
Line control(std::string function, std::string text) {
  return {Line::Kind::control, std::move(function), std::move(text)};
}
Line error(std::string function, std::string text) {
  return {Line::Kind::error, std::move(function), std::move(text)};
}

void expect(const Lines &expected, Location location) { compare(expected, take(), location); }

void expect_apart_from_control(const Lines &expected, Location location) {
  compare(expected, take_without([](Line::Kind kind) { return kind == Line::Kind::control; }), location);
}

void expect_calls_and_errors(const Lines &expected, Location location) {
  const auto unwanted = [](Line::Kind kind) {
    return kind == Line::Kind::control || kind == Line::Kind::packet;
  };
  compare(expected, take_without(unwanted), location);
}

void expect_end(const Lines &expected, Location location) {
  Lines lines = take();
  const size_t before = lines.size() - std::min(lines.size(), expected.size());
  compare(expected, {lines.begin() + static_cast<ptrdiff_t>(before), lines.end()}, location);
}

void forget() { the_record.lines.clear(); }

void ignore_rest() { the_record.ignoring = true; }

size_t count_of(const Line &line) {
  return static_cast<size_t>(
      std::ranges::count_if(the_record.lines, [&](const Line &actual) { return line.matches(actual); }));
}

size_t count_of_operation(const std::string &operation) {
  return static_cast<size_t>(std::ranges::count_if(the_record.lines, [&](const Line &line) {
    return line.kind == Line::Kind::call && line.text.starts_with(operation + "(");
  }));
}

const Lines &recorded() { return the_record.lines; }

void record(Line line) { the_record.lines.push_back(std::move(line)); }

void reset_record() { the_record = {}; }

void verify_record() {
  if (the_record.ignoring || the_record.lines.empty()) return;
  ADD_FAILURE() << "the test ended without asserting these lines of the record\n"
                << side_by_side({}, the_record.lines, 0);
}

}  // namespace standin
