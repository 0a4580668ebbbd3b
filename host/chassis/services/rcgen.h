// The configuration generator: asks every registered program for its lines and renders them.
//
//   vlan 100
//     cin
//   vlan 200
//     cin
//
// VLANs ascend; under a VLAN's key line stand the lines of all programs, in the order in which the
// programs registered, indented by two blanks a level. A VLAN without lines is not shown. A program that
// fails or does not answer in time makes the whole answer a failure whose text names the reason.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/chassis/services/service_context.h"

namespace chassis {

class ConfigGenerator : public Service {
 public:
  explicit ConfigGenerator(const ServiceContext &context);

  void forget_daemon() override;

 private:
  struct Job;
  bus::Result register_program(const bus::Registration &request);
  void show(const bus::Message &message);
  void take_lines(const std::shared_ptr<Job> &job, std::size_t program, const bus::Message *response);
  void finish(const Job &job);

  std::string startup_uri_;
  std::vector<bus::Address> programs_;
};

}  // namespace chassis
