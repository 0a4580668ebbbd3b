/* Writes down everything that the daemon does in the story: platform calls and traces line by line, the
 * bytes that it writes to sockets, the contents of its stores. The text is the same on every machine.
 *
 * The requests to the kernel module follow in a second part, one per line, with the request number and the
 * bytes of the record as they are in memory. Only these two differ between machines. */
#include <gtest/gtest.h>

#include <cstdio>
#include <map>

#include "tests/scenario/story.h"
#include "tests/standin/standin.h"

using namespace standin;

namespace {

/** Everything except the requests to the kernel module. */
std::string behaviour;
std::string kernel_requests;

std::string hex_of(const Bytes &bytes) {
  std::string text;
  for (const uint8_t byte : bytes) {
    char pair[3];
    std::snprintf(pair, sizeof pair, "%02x", byte);
    text += pair;
  }
  return text;
}

/** The descriptor in a line "write(41, 70)"; -1 for any other line. */
int written_descriptor(const Line &line) {
  int descriptor = -1;
  return std::sscanf(line.text.c_str(), "write(%d", &descriptor) == 1 ? descriptor : -1;
}

void write_record() {
  std::map<int, size_t> frames_before;
  for (const Line &line : recorded()) {
    behaviour += line.shown();
    if (const int descriptor = written_descriptor(line); descriptor >= 0)
      behaviour += " " + hex_of(written(descriptor).at(frames_before[descriptor]++));
    behaviour += "\n";
  }
  for (const auto &[descriptor, count] : frames_before) written(descriptor).clear();
  forget();
}

void write_store(const std::string &uri) {
  if (!store_exists(uri)) return;
  const Store &contents = store(uri);
  behaviour += "store " + uri + ": keys to " + std::to_string(contents.max_key) + ", values to " +
               std::to_string(contents.max_value) + " bytes\n";
  for (const auto &[slot, version] : contents.versions)
    behaviour += "  version " + std::to_string(slot) + " is " + shown(hex(version)) + "\n";
  for (const auto &[key, value] : contents.records)
    behaviour += "  " + hex_of(key) + " = '" + hex_of(value) + "'\n";
}

void write_chapter_end(const std::string &name) {
  write_record();
  for (const std::string &print : prints()) behaviour += "printed: " + escaped(print) + "\n";
  for (const std::string &uri : {debug_store, running_store, startup_store}) write_store(uri);
  behaviour += "== end of " + name + "\n";
  for (const ModuleRequest &request : module_requests())
    kernel_requests += shown(hex(request.number)) + " " + hex_of(request.record) + "\n";
}

void write_step(const std::string &name) {
  write_record();
  behaviour += "-- " + name + "\n";
}

}  // namespace

int main() {
  tell_story({.step = write_step, .chapter = write_chapter_end});
  std::fputs(behaviour.c_str(), stdout);
  std::fputs("==== kernel device\n", stdout);
  std::fputs(kernel_requests.c_str(), stdout);
  return testing::UnitTest::GetInstance()->ad_hoc_test_result().Failed() ? 1 : 0;
}
