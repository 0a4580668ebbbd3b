#include "tests/agreement/agreement.h"

#include <gtest/gtest-spi.h>

#include <memory>
#include <ostream>

#include "tests/agreement/daemon.h"

namespace model {

namespace {

/** Collects the failures that the stand-in reports, so that the sequence can be judged and shrunk. */
class Failures {
 public:
  std::string take() {
    std::string all;
    for (int i = taken_; i < results_.size(); ++i)
      all += std::string(results_.GetTestPartResult(i).message()) + '\n';
    taken_ = results_.size();
    return all;
  }

 private:
  testing::TestPartResultArray results_;
  testing::ScopedFakeTestPartResultReporter reporter_{
      testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &results_};
  int taken_ = 0;
};

/** Step in which the distribution of learnt addresses is shown. */
constexpr size_t addresses_step = 16;

void note(Reach &reach, const Event &event, Model &model) {
  ++reach.events;
  ++reach.kinds[name_of(event.happening)];
  if (event.refusal) ++reach.refusals;
  if (event.failing_allocation != 0) ++reach.failing_allocations;
  for (const auto &[descriptor, frames] : model.platform().written) reach.frames_written += frames.size();
  size_t ports = 0;
  each(model.state().ports, [&](const PortEntry &) { ++ports; });
  ++reach.cin_vlans[static_cast<size_t>(model.state().cin_count)];
  ++reach.ports[ports];
  ++reach.addresses[model.state().learnt.size() / addresses_step * addresses_step];
}

void show(std::ostream &stream, const char *title, const std::map<size_t, uint64_t> &distribution) {
  stream << "  " << title << ':';
  for (const auto &[value, count] : distribution) stream << ' ' << value << ":" << count;
  stream << '\n';
}

std::optional<std::string> disagreement(const Sequence &sequence, Reach *reach, Failures &failures) {
  Model model(sequence.board, sequence.stored_vlans);
  const auto daemon = std::make_unique<Daemon>(sequence.board, sequence.stored_vlans);
  size_t number = 0;
  for (const Event &event : sequence.events) {
    std::string found = daemon->play(event, model);
    found += failures.take();
    if (reach != nullptr) note(*reach, event, model);
    ++number;
    if (!found.empty())
      return "after event " + std::to_string(number) + ", " + name_of(event.happening) + ":\n" + found;
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> disagreement(const Sequence &sequence, Reach *reach) {
  Failures failures;
  if (reach != nullptr) ++reach->sequences;
  std::optional<std::string> found = disagreement(sequence, reach, failures);
  const std::string at_the_end = failures.take();  // what the daemon leaves behind
  if (!found && !at_the_end.empty()) found = "at the end:\n" + at_the_end;
  return found;
}

std::ostream &operator<<(std::ostream &stream, const Reach &reach) {
  stream << reach.events << " events in " << reach.sequences << " sequences, " << reach.refusals
         << " with a refusal, " << reach.failing_allocations << " with a failing allocation, "
         << reach.frames_written << " frames written\n  kinds:";
  for (const auto &[kind, count] : reach.kinds) stream << ' ' << kind << ":" << count;
  stream << '\n';
  show(stream, "events at CIN VLANs", reach.cin_vlans);
  show(stream, "events at ports", reach.ports);
  show(stream, "events at learnt addresses", reach.addresses);
  return stream;
}

}  // namespace model
