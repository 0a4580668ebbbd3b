/* The record: what the daemon did, in order.
 *
 * Each platform call or system call with an effect is one line, "operation(argument, argument)"; each
 * trace is one line with its category, the function that traced it, and its text. Calls that only read
 * something (a message's opcode, a bit of a set) leave no line.
 *
 * A test asserts the record with one of the expectations below, each of which must name every
 * line that it covers, in order, and then empties the record. What is still there when the test ends
 * fails it, unless it said ignore_rest(). A mismatch prints expected and actual side by side and marks
 * the first difference. */
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace standin {

/** One line of the record, or of what a test expects of it. */
struct Line {
  enum class Kind { call, packet, control, error };

  Kind kind = Kind::call;
  std::optional<std::string> function; /**< of a trace; absent in an expectation that takes any */
  std::string text;
  int number = 0; /**< of a recorded trace: its line in the daemon's source; not compared */

  // Implicit on purpose: a table of expected calls is a list of plain texts.
  Line(const char *call_line) : text(call_line) {}             // NOLINT
  Line(std::string call_line) : text(std::move(call_line)) {}  // NOLINT
  Line(Kind trace, std::optional<std::string> from, std::string message)
      : kind(trace), function(std::move(from)), text(std::move(message)) {}

  std::string shown() const;
  bool matches(const Line &actual) const;
};

using Lines = std::vector<Line>;

/** Where an expectation stands in the test, so that a failure points there. */
struct Location {
  const char *file;
  int line;

  static constexpr Location current(const char *file = __builtin_FILE(), int line = __builtin_LINE()) {
    return {file, line};
  }
};

/** Expected traces, whoever traced them. */
Line packet(std::string text);
Line control(std::string text);
Line error(std::string text);

/** Expected traces of one function. */
Line packet(std::string function, std::string text);
Line control(std::string function, std::string text);
Line error(std::string function, std::string text);

/** The whole record is exactly this. */
void expect(const Lines &expected, Location location = Location::current());

/** The record without its control traces is exactly this. */
void expect_apart_from_control(const Lines &expected, Location location = Location::current());

/** The record without its control and packet traces is exactly this. */
void expect_calls_and_errors(const Lines &expected, Location location = Location::current());

/** The record ends with exactly this; how the test got there is not asserted. */
void expect_end(const Lines &expected, Location location = Location::current());

/** Empties the record: what a test did to get to its starting point. */
void forget();

/** Lets the rest of the test happen without asserting it. */
void ignore_rest();

/** How many lines with this text the record holds: for events that come in large numbers. */
size_t count_of(const Line &line);

/** How many calls of an operation it holds, whatever their arguments. */
size_t count_of_operation(const std::string &operation);

/** Everything that it holds. */
const Lines &recorded();

/** For the stand-in's own operations. */
void record(Line line);
void reset_record();
void verify_record();

}  // namespace standin
