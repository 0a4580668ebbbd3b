/* The record: what the daemon did, in order.
 *
 * Each platform call or system call with an effect is one line, "operation(argument, argument)"; each
 * trace is one line with its category, the function that traced it, and its text. Calls that only read
 * something (a message's opcode, a bit of a set) leave no line.
 *
 * A test asserts the record with one of the expectations below. An expectation must name every line that it
 * covers, in order; it then empties the record. Lines that are left when the test ends fail it, unless it
 * has called ignore_rest(). A mismatch prints expected and actual lines side by side and marks the first
 * difference. */
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace standin {

/** One line of the record or of an expectation. */
struct Line {
  enum class Kind { call, packet, control, error };

  Kind kind = Kind::call;
  std::optional<std::string> function; /**< of a trace; absent in an expectation that accepts any */
  std::string text;
  int number = 0; /**< of a recorded trace: its line in the daemon's source; never compared */

  // Implicit on purpose: a table of expected calls is a list of plain texts.
  Line(const char *call_line) : text(call_line) {}             // NOLINT
  Line(std::string call_line) : text(std::move(call_line)) {}  // NOLINT
  Line(Kind trace, std::optional<std::string> from, std::string message)
      : kind(trace), function(std::move(from)), text(std::move(message)) {}

  std::string shown() const;
  bool matches(const Line &actual) const;
};

using Lines = std::vector<Line>;

/** Where in the test an expectation is, so that a failure points there. */
struct Location {
  const char *file;
  int line;

  static constexpr Location current(const char *file = __builtin_FILE(), int line = __builtin_LINE()) {
    return {file, line};
  }
};

/** Expected traces of any function. */
Line packet(std::string text);
Line control(std::string text);
Line error(std::string text);

/** Expected traces of a given function. */
Line packet(std::string function, std::string text);
Line control(std::string function, std::string text);
Line error(std::string function, std::string text);

/** Expects that the whole record is exactly this. */
void expect(const Lines &expected, Location location = Location::current());

/** Expects that the record without its control traces is exactly this. */
void expect_apart_from_control(const Lines &expected, Location location = Location::current());

/** Expects that the record without its control and packet traces is exactly this. */
void expect_calls_and_errors(const Lines &expected, Location location = Location::current());

/** Expects that the record ends with exactly this; the lines before are not asserted. */
void expect_end(const Lines &expected, Location location = Location::current());

/** Empties the record of what the test did to reach its starting point. */
void forget();

/** Leaves the rest of the test unasserted. */
void ignore_rest();

/** How many lines with this text the record holds; for frequent events. */
size_t count_of(const Line &line);

/** How many calls of an operation the record holds, whatever their arguments. */
size_t count_of_operation(const std::string &operation);

/** The whole record. */
const Lines &recorded();

/** Adds a line; for the stand-in's own operations. */
void record(Line line);
void reset_record();
void verify_record();

}  // namespace standin
