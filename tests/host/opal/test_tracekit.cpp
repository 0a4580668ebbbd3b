// The facility keeps its settings for the life of the process, so each test runs in its own process with
// its standard error captured.
#include "opal/tracekit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include "host/bus/services.h"
#include "host/history/trace_ring.h"
#include "tests/host/opal/program.h"
#include "tests/host/system/temporary_folder.h"

namespace opal::test {
namespace {

using testing::MatchesRegex;

constexpr uint32_t packet = 100;
constexpr uint32_t control = 101;
constexpr uint32_t error = 102;
constexpr uint32_t event_code = 115 << 16;
constexpr bus::Address operator_address{0, 96};

const char *const descriptions[] = {"Packet Events", "Control Events", "Error Events"};

/// The outcome of a program: its standard error, and whether every check in it passed.
struct Outcome {
  std::string standard_error;
  int status = -1;
};

/// Runs `body` as a separate program.
template <typename Body>
Outcome in_program(const std::filesystem::path &folder, Body body) {
  int pipe_ends[2];
  if (pipe(pipe_ends) != 0) return {};
  const pid_t child = fork();
  if (child == 0) {
    dup2(pipe_ends[1], STDERR_FILENO);
    close(pipe_ends[0]);
    close(pipe_ends[1]);
    setenv("OPAL_RUN_DIR", folder.c_str(), 1);
    body();
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  close(pipe_ends[1]);
  Outcome outcome;
  std::array<char, 4096> buffer;
  for (ssize_t size; (size = read(pipe_ends[0], buffer.data(), buffer.size())) > 0;)
    outcome.standard_error.append(buffer.data(), static_cast<std::size_t>(size));
  close(pipe_ends[0]);
  waitpid(child, &outcome.status, 0);
  return outcome;
}

/// The trace pattern as the program writes it.
void trace(uint32_t category, const char *text) {
  struct {
    uint32_t category;
    char text[512];
  } event{category, {}};
  std::snprintf(event.text, sizeof event.text, "%s", text);
  if (tracekit_hist_event_subtype_check(event_code, category) == 0)
    tracekit_hist_event(event_code, static_cast<uint32_t>(std::strlen(event.text)) + 5, &event);
  if (tracekit_chk_int(category, 0, 0, 1).on) dbgprint(1, tracekit_dbg_modname, 0, "%s", text);
}

qbus_queue_t bind_queue() {
  qbus_bind_options_t options{};
  options.version = 1;
  return qbus_bind(1, 721, &options, "Trace test");
}

void start_facility(qbus_queue_t queue, kvs_service_t store) {
  static uint32_t values[2] = {0, 1};
  static tracekit_context_t contexts[2] = {{&values[0], 4}, {&values[1], 4}};
  static const tracekit_syslog_facility_t facility = {"tesk", 4408, 2, 2};
  EXPECT_EQ(tracekit_dbg_init(queue, "tesk", "Title", 3, descriptions, 1, store, &contexts[0]), 0);
  tracekit_sys_facility = &facility;
  EXPECT_EQ(tracekit_sys_init_helper(queue, "tesk", "Title", 4408, 1, store, &contexts[1]), 0);
  EXPECT_EQ(tracekit_hist_init(0x10000), 0);
  EXPECT_EQ(tracekit_hist_init_for_uuid(115, 0x10000), 0);
  opal_openlog("tesk", 10, 4408);
}

std::vector<std::string> history(const std::filesystem::path &folder) {
  host::Result<trace::RingReader> reader = trace::RingReader::open(trace::ring_file(folder, 115));
  EXPECT_TRUE(reader) << reader.error().what;
  std::vector<std::string> result;
  if (reader) {
    for (const trace::Event &event : reader->read_new())
      result.push_back(std::to_string(event.category) + " " + event.text);
  }
  return result;
}

using Texts = std::vector<std::string>;

TEST(Tracekit, BeforeItsInitialisationEverythingIsPrintedAndLaterRecorded) {
  const TemporaryFolder folder;
  const Outcome outcome = in_program(folder.path(), [] {
    trace(control, "early one\n");
    trace(error, "early two");
    start_facility(bind_queue(), 0);
    trace(error, "recorded, not printed");
  });
  EXPECT_EQ(outcome.status, 0) << outcome.standard_error;
  EXPECT_THAT(outcome.standard_error,
              MatchesRegex("[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} 101 host_opal_tests early one\n"
                           "[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} 102 host_opal_tests early two\n"));
  EXPECT_EQ(history(folder.path()), (Texts{"101 early one\n", "102 early two", "102 recorded, not printed"}));
}

TEST(Tracekit, SwitchesPrintWhatIsOnAndRecordAll) {
  const TemporaryFolder folder;
  const Outcome outcome = in_program(folder.path(), [] {
    start_facility(bind_queue(), 0);
    tracekit_dbg_enable(control);
    tracekit_dbg_enable(error);
    trace(packet, "silent");
    trace(control, "loud");
    tracekit_dbg_disable(control);
    trace(control, "silent again");
    trace(error, "carriage return\r\n\n");
    trace(7777, "beyond every category");
  });
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.standard_error,
              MatchesRegex("[0-9:.]{12} 101 tesk loud\n[0-9:.]{12} 102 tesk carriage return\n"));
  EXPECT_EQ(history(folder.path()),
            (Texts{"100 silent", "101 loud", "101 silent again", "102 carriage return\r\n\n"}));
}

TEST(Tracekit, AnOverlongLineIsCutAndStillEnds) {
  const TemporaryFolder folder;
  const Outcome outcome = in_program(folder.path(), [] {
    const std::string text(5000, 'x');
    EXPECT_EQ(dbgprint(1, "m", 0, "%s", text.c_str()), 2047);
  });
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.standard_error.size(), 2047u);
  EXPECT_EQ(outcome.standard_error.back(), '\n');
}

TEST(Tracekit, AnEventIsReadNoFurtherThanItsLength) {
  const TemporaryFolder folder;
  const Outcome outcome = in_program(folder.path(), [] {
    start_facility(bind_queue(), 0);
    // No NUL within the length: a sanitizer sees a read past the end.
    const std::vector<char> event = {102, 0, 0, 0, 'a', 'b'};
    for (uint32_t length = 0; length <= event.size(); ++length) {
      tracekit_hist_event(event_code, length,
                          std::vector<char>(event.begin(), event.begin() + length).data());
    }
  });
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(history(folder.path()), (Texts{"102 ", "102 a", "102 ab"}));
}

TEST(Tracekit, WithoutARunFolderTheProgramGoesOnAndSaysWhy) {
  const TemporaryFolder folder;
  const Outcome outcome = in_program(folder.path() / "missing", [] {
    EXPECT_NE(tracekit_hist_init_for_uuid(115, 0x10000), 0);
    const uint32_t event[] = {error, 0};
    tracekit_hist_event(event_code, 5, event);
  });
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.standard_error, "trace history 115 is not kept: No such file or directory\n");
}

TEST(Tracekit, RefusesARegistrationItDoesNotKnow) {
  const TemporaryFolder folder;
  const Outcome outcome = in_program(folder.path(), [] {
    const qbus_queue_t queue = bind_queue();
    uint32_t value = 0;
    tracekit_context_t context{&value, 4};
    tracekit_context_t wrong{&value, 8};
    EXPECT_NE(tracekit_dbg_init(queue, "t", "T", 3, descriptions, 2, 0, &context), 0);
    EXPECT_NE(tracekit_dbg_init(queue, "t", "T", 3, descriptions, 1, 0, &wrong), 0);
    EXPECT_NE(tracekit_dbg_init(-1, "t", "T", 3, descriptions, 1, 0, &context), 0);
    EXPECT_NE(tracekit_dbg_init(queue, "t", "T", 1000, descriptions, 1, 0, &context), 0);
    EXPECT_NE(tracekit_sys_init_helper(queue, "t", "T", 4408, 1, 0, &context), 0);
  });
  EXPECT_EQ(outcome.status, 0) << outcome.standard_error;
}

/// Sends a switch to the program and has the facility process it. @return the answer's code
rcode_t switch_from_outside(qbus_queue_t queue, bus::TraceSwitch wanted) {
  host::Result<bus::Socket> asker = bus::Socket::bind(bus::run_folder(), operator_address);
  EXPECT_TRUE(asker);
  EXPECT_TRUE(asker->send(bus::address::tesk, bus::Kind::request, bus::opcode::trace_switch, 5,
                          bus::bytes_of(wanted)));
  qbus_msg_ref_t message{};
  EXPECT_TRUE(wait_readable(queue));
  EXPECT_EQ(qbus_recv(queue, &message, 0), 0);
  EXPECT_EQ(tracekit_process_msg(queue, &message), 0);
  qbus_drop(queue, &message);
  const std::optional<bus::Message> answer = receive(*asker);
  return answer ? bus::record_of<bus::Result>(answer->payload)->rcode : rcode_t{RCODE_TIMED_OUT};
}

void receive_any_message(qbus_queue_t queue) {
  host::Result<bus::Socket> asker = bus::Socket::bind(bus::run_folder(), operator_address);
  EXPECT_TRUE(asker->send(bus::address::tesk, bus::Kind::notice, 0x43C, 0, {}));
  qbus_msg_ref_t message{};
  EXPECT_TRUE(wait_readable(queue));
  EXPECT_EQ(qbus_recv(queue, &message, 0), 0);
  EXPECT_EQ(tracekit_process_msg(queue, &message), 1);
  qbus_drop(queue, &message);
}

TEST(Tracekit, SwitchesFromOutsideHoldAcrossARestart) {
  const TemporaryFolder folder;
  const std::string uri = "file://" + (folder.path() / "debug_data").string();
  const Outcome first = in_program(folder.path(), [&] {
    const qbus_queue_t queue = bind_queue();
    rcode_t rcode = 0;
    const kvs_service_t store = kvs_create(uri.c_str(), &rcode);
    EXPECT_EQ(kvs_max_key(store, 512), RCODE_SUCCESS);
    EXPECT_EQ(kvs_max_value(store, (tracekit_get_max_kvsvalue() * 2) & 0xfffe), RCODE_SUCCESS);
    start_facility(queue, store);
    EXPECT_EQ(switch_from_outside(queue, {control, 1, 1}), RCODE_SUCCESS);
    EXPECT_EQ(switch_from_outside(queue, {packet, 0, 0}), RCODE_SUCCESS);
    EXPECT_EQ(switch_from_outside(queue, {103, 1, 1}), RCODE_INVALID);
    EXPECT_EQ(switch_from_outside(queue, {99, 1, 1}), RCODE_INVALID);
    EXPECT_EQ(switch_from_outside(queue, {control, 2, 1}), RCODE_INVALID);
    trace(control, "first");
    trace(packet, "not recorded");
  });
  EXPECT_EQ(first.status, 0) << first.standard_error;
  EXPECT_THAT(first.standard_error, MatchesRegex(".{12} 101 tesk first\n"));
  const Outcome second = in_program(folder.path(), [&] {
    const qbus_queue_t queue = bind_queue();
    rcode_t rcode = 0;
    start_facility(queue, kvs_open(uri.c_str(), &rcode));
    EXPECT_EQ(rcode, RCODE_SUCCESS);
    tracekit_dbg_disable(control);
    trace(control, "start-up");
    trace(packet, "not recorded");
    receive_any_message(queue);
    trace(control, "second");
  });
  EXPECT_EQ(second.status, 0) << second.standard_error;
  EXPECT_THAT(second.standard_error, MatchesRegex(".{12} 101 tesk second\n"));
  EXPECT_EQ(history(folder.path()), (Texts{"101 first", "101 start-up", "101 second"}));
}

TEST(Tracekit, OtherMessagesAreTheProgramsOwn) {
  const TemporaryFolder folder;
  const Outcome outcome = in_program(folder.path(), [] {
    const qbus_queue_t queue = bind_queue();
    receive_any_message(queue);
    start_facility(queue, 0);
    receive_any_message(queue);
    EXPECT_EQ(switch_from_outside(queue, {error, 1, 1}), RCODE_SUCCESS)
        << "without a store it holds until restart";
  });
  EXPECT_EQ(outcome.status, 0) << outcome.standard_error;
}

}  // namespace
}  // namespace opal::test
