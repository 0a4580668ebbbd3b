#include "host/chassis/services/cush_registry.h"

namespace chassis {

namespace {

constexpr std::size_t trees_max = 64;

}  // namespace

CushRegistry::CushRegistry(const ServiceContext &context)
    : Service(context.loop, context.faults, "cush", bus::address::cush) {
  endpoint_.serve<bus::Registration>(
      bus::opcode::register_parse_tree, "cush-register",
      [this](const bus::Registration &request, const bus::Message &) { return register_tree(request); });
  endpoint_.serve<bus::Registration>(bus::opcode::backend_init, "cush-backend",
                                     [this](const bus::Registration &request, const bus::Message &) {
                                       if (backends_.size() >= trees_max) return bus::Result{RCODE_NO_MEMORY};
                                       backends_.insert(request.queue);
                                       return bus::Result{RCODE_SUCCESS};
                                     });
  endpoint_.serve<Nothing>(bus::opcode::list_parse_trees, "",
                           [this](Nothing, const bus::Message &) { return list(); });
}

bus::Result CushRegistry::register_tree(const bus::Registration &request) {
  const std::string name(bus::text_of(request.name));
  if (name.empty()) return {RCODE_INVALID};
  if (!trees_.contains(name) && trees_.size() >= trees_max) return {RCODE_NO_MEMORY};
  trees_.insert_or_assign(name, request.queue);
  return {RCODE_SUCCESS};
}

bus::Payload CushRegistry::list() const {
  std::vector<bus::ParseTree> records;
  for (const auto &[name, server] : trees_) {
    bus::ParseTree record{};
    bus::set_text(record.name, name);
    record.server = server;
    record.backend_ready = backends_.contains(server) ? 1 : 0;
    records.push_back(record);
  }
  return bus::encode_parse_trees(RCODE_SUCCESS, records);
}

void CushRegistry::forget_daemon() {
  std::erase_if(trees_, [](const auto &entry) { return entry.second == bus::address::tesk; });
  backends_.erase(bus::address::tesk);
}

}  // namespace chassis
