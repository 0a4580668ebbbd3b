// The configuration generator: requests the configuration lines of every registered program and renders them.
//
//   vlan 100
//     cin
//   vlan 200
//     cin
//
// VLANs are in ascending order. Under the key line of a VLAN are the lines of all programs, in the order in
// which the programs registered, indented by two blanks per level. A VLAN without lines is not shown. If a
// program fails or does not answer in time, the whole answer is a failure whose text says why.
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
