#include "host/chassis/services/rcgen.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "host/chassis/base/vlan_number.h"
#include "host/chassis/base/vlan_set.h"
#include "opal/rcgen.h"

namespace chassis {

namespace {

constexpr std::size_t programs_max = 16;
constexpr std::chrono::seconds answer_bound{2};  ///< for a program's lines
constexpr std::uint16_t indent_max = 16;
constexpr std::size_t text_limit = bus::payload_limit - sizeof(bus::ConfigText);

/// The VLANs of a request that names none: all that a configuration can have.
VlanSet every_configurable_vlan() {
  VlanSet vlans;
  vlans.set();
  vlans.reset(0);
  vlans.reset(sol_vlan.value);
  return vlans;
}

/// The rendered lines of each VLAN.
using Blocks = std::map<std::uint16_t, std::string>;

bool append(Blocks &blocks, const bus::ConfigLineView &line) {
  if (!vlan_number(line.vlan) || line.indent > indent_max) return false;
  std::string &block = blocks[line.vlan];
  block.append(2UL * line.indent, ' ').append(line.text);
  if (line.text.empty() || line.text.back() != '\n') block += '\n';
  return true;
}

std::string render(const std::vector<Blocks> &programs) {
  Blocks merged;
  for (const Blocks &blocks : programs) {
    for (const auto &[vlan, lines] : blocks) merged[vlan] += lines;
  }
  std::string text;
  for (const auto &[vlan, lines] : merged) text += fmt::format("vlan {}\n{}", vlan, lines);
  return text;
}

}  // namespace

/// One `show` in progress.
struct ConfigGenerator::Job {
  bus::Message request;
  std::vector<Blocks> programs;
  std::size_t waiting = 0;
  std::uint32_t rcode = RCODE_SUCCESS;
  std::string failure;

  void fail(std::uint32_t code, std::string text) {
    if (rcode != RCODE_SUCCESS) return;
    rcode = code;
    failure = std::move(text);
  }
};

ConfigGenerator::ConfigGenerator(const ServiceContext &context)
    : Service(context.loop, context.faults, "rcgen", bus::address::rcgen), startup_uri_(context.startup_uri) {
  endpoint_.serve<bus::Registration>(
      bus::opcode::rcgen_register, "rcgen-register",
      [this](const bus::Registration &request, const bus::Message &) { return register_program(request); });
  endpoint_.serve_messages(bus::opcode::show_config, "",
                           [this](const bus::Message &message) { show(message); });
}

void ConfigGenerator::forget_daemon() {
  std::erase(programs_, bus::address::tesk);
  endpoint_.give_up_waiting();
}

bus::Result ConfigGenerator::register_program(const bus::Registration &request) {
  if (std::find(programs_.begin(), programs_.end(), request.queue) != programs_.end()) return {RCODE_SUCCESS};
  if (programs_.size() >= programs_max) return {RCODE_NO_MEMORY};
  programs_.push_back(request.queue);
  return {RCODE_SUCCESS};
}

void ConfigGenerator::show(const bus::Message &message) {
  const auto request = record_in<bus::ShowConfig>(message);
  if (!request) return endpoint_.answer_malformed(message);
  const auto job = std::make_shared<Job>(Job{.request = message,
                                             .programs = std::vector<Blocks>(programs_.size()),
                                             .waiting = programs_.size(),
                                             .failure = {}});
  if (programs_.empty()) {
    job->fail(RCODE_UNAVAILABLE, "No program that has a configuration is running");
    return finish(*job);
  }
  const VlanSet named = from_record(request->vlans);
  bus::Generate generate{};
  generate.config_type = request->config_type;
  generate.display_type = request->display_type;
  bus::set_text(generate.startup_uri_prefix, startup_uri_);
  generate.vlans = to_record(named.none() ? every_configurable_vlan() : named);
  for (std::size_t program = 0; program < programs_.size(); ++program) {
    endpoint_.ask(programs_[program], bus::opcode::rcgen_generate, bus::bytes_of(generate), answer_bound,
                  [this, job, program](const bus::Message *response) { take_lines(job, program, response); });
  }
}

void ConfigGenerator::take_lines(const std::shared_ptr<Job> &job, std::size_t program,
                                 const bus::Message *response) {
  const auto generated = response ? bus::decode_generated(response->payload) : std::nullopt;
  if (response == nullptr) {
    job->fail(RCODE_TIMED_OUT, "The program did not answer in time");
  } else if (!generated) {
    job->fail(RCODE_CORRUPT, "The program's answer is not well-formed");
  } else if (generated->head.rcode != RCODE_SUCCESS) {
    job->fail(generated->head.rcode, std::string(bus::text_of(generated->head.text)));
  } else {
    Blocks &blocks = job->programs[program];
    if (!std::all_of(generated->lines.begin(), generated->lines.end(),
                     [&blocks](const bus::ConfigLineView &line) { return append(blocks, line); })) {
      job->fail(RCODE_CORRUPT, "The program's answer is not well-formed");
    }
  }
  if (--job->waiting == 0) finish(*job);
}

void ConfigGenerator::finish(const Job &job) {
  const std::string text = job.rcode == RCODE_SUCCESS ? render(job.programs) : job.failure;
  if (text.size() > text_limit) {
    constexpr std::string_view too_large =
        "The configuration is too large to be shown at once; name fewer VLANs";
    return endpoint_.answer(job.request, bus::encode_config_text({RCODE_TOO_LARGE, too_large}));
  }
  endpoint_.answer(job.request, bus::encode_config_text({job.rcode, text}));
}

}  // namespace chassis
