#include <concepts>
#include <ostream>

#include "tests/model/event.h"
#include "tests/standin/text.h"

namespace model {

namespace {

/* ---- values as in a C++ initialiser ---- */

std::string text(bool value) { return value ? "true" : "false"; }
std::string text(const std::string &value) { return '"' + value + '"'; }

template <std::integral Number>
std::string text(Number value) {
  return std::to_string(value);
}

template <class Value>
std::string text(const std::optional<Value> &value) {
  return value ? text(*value) : "{}";
}

/** Writes interface indexes and opcodes in hex, as people read them. */
std::string hex(uint32_t value) { return standin::shown(standin::hex(value)); }

template <class... Parts>
std::string braces(const Parts &...parts) {
  std::string all;
  ((all += (all.empty() ? "" : ", ") + parts), ...);
  return "{" + all + "}";
}

template <class Element, class Shown>
std::string list(const std::vector<Element> &elements, Shown shown) {
  std::string all;
  for (const Element &element : elements) all += (all.empty() ? "" : ", ") + shown(element);
  return "{" + all + "}";
}

template <std::integral Number>
std::string numbers(const std::vector<Number> &elements) {
  return list(elements, [](Number number) { return text(number); });
}

std::string indexes(const std::vector<uint32_t> &elements) { return list(elements, hex); }

std::string port_report(const PortReport &port) {
  return braces(hex(port.interface), text(port.link), numbers(port.up), numbers(port.down));
}

std::string cbl_report(const CblReport &port) {
  return braces(hex(port.interface), numbers(port.forwarding));
}

std::string frame_text(const Frame &frame) {
  return braces(text(frame.is_inband), text(frame.vlan), text(frame.destination), text(frame.source),
                text(frame.size), text(frame.is_tagged), text(frame.ingress), text(frame.has_ce),
                text(frame.says_tagged));
}

/* ---- one text for each kind of event ---- */

struct Shown {
  const char *name;
  std::string fields;
};

Shown shown(const LineCardOnline &) { return {"LineCardOnline", "{}"}; }
Shown shown(const PortState &event) { return {"PortState", braces(list(event.ports, port_report))}; }
Shown shown(const CblChange &event) { return {"CblChange", braces(list(event.ports, cbl_report))}; }
Shown shown(const VlansDeleted &event) { return {"VlansDeleted", braces(numbers(event.vlans))}; }
Shown shown(const LtlAnswer &event) {
  return {"LtlAnswer",
          braces(text(event.vlan), text(event.age), text(event.is_allocation), text(event.is_response))};
}
Shown shown(const CinCommand &event) {
  const auto range = [](const auto &pair) { return braces(text(pair.first), text(pair.second)); };
  return {"CinCommand", braces(list(event.vlans, range), text(event.is_no_form), text(event.has_list))};
}
Shown shown(const ShowCin &) { return {"ShowCin", "{}"}; }
Shown shown(const ShowCounters &event) {
  const auto range = [](const auto &pair) { return braces(hex(pair.first), hex(pair.second)); };
  return {"ShowCounters", braces(list(event.interfaces, range))};
}
Shown shown(const UnknownCommand &event) { return {"UnknownCommand", braces(text(event.id))}; }
Shown shown(const DebugRequest &event) {
  return {"DebugRequest", braces(text(event.kind), text(event.data_size), numbers(event.body))};
}
Shown shown(const EnableRequest &event) {
  return {"EnableRequest", braces(text(event.kind), text(event.data_size), text(event.state))};
}
Shown shown(const Generation &event) {
  return {"Generation", braces(text(event.configuration), text(event.display), numbers(event.vlans))};
}
Shown shown(const FeatureAnswer &event) { return {"FeatureAnswer", braces(text(event.is_create))}; }
Shown shown(const BareMessage &event) {
  return {"BareMessage", braces(hex(event.opcode), text(event.payload_bytes))};
}
Shown shown(const SupervisorMessage &event) { return {"SupervisorMessage", braces(text(event.verdict))}; }
Shown shown(const TraceMessage &) { return {"TraceMessage", "{}"}; }
Shown shown(const EmptyQueue &) { return {"EmptyQueue", "{}"}; }
Shown shown(const Save &) { return {"Save", "{}"}; }
Shown shown(const ChannelBecomes &event) {
  return {"ChannelBecomes",
          braces(text(event.channel), hex(event.first_operational), indexes(event.members))};
}
Shown shown(const DeviceCounts &event) {
  return {"DeviceCounts", braces(hex(event.interface), text(event.frames))};
}
Shown shown(const FramesArrive &event) { return {"FramesArrive", braces(list(event.frames, frame_text))}; }

Shown shown(const StationsAppear &event) {
  return {"StationsAppear",
          braces(text(event.ingress), text(event.first), text(event.count), text(event.vlan))};
}

Shown shown_happening(const Happening &happening) {
  return std::visit([](const auto &event) { return shown(event); }, happening);
}

std::string event_text(const Event &event) {
  const Shown what = shown_happening(event.happening);
  std::string all = what.name + what.fields;
  if (event.refusal || event.failing_allocation != 0) {
    const auto refusal = [](const Refusal &refused) {
      return "Refusal" +
             braces(text(refused.operation), text(refused.call), text(refused.result), text(refused.output));
    };
    all += ", " + (event.refusal ? refusal(*event.refusal) : std::string("{}"));
  }
  if (event.failing_allocation != 0) all += ", " + text(event.failing_allocation);
  return "{" + all + "}";
}

}  // namespace

const char *name_of(const Happening &happening) { return shown_happening(happening).name; }

std::ostream &operator<<(std::ostream &stream, const Sequence &sequence) {
  stream << "TEST_F(Agreement, NameWhatWentWrong) {\n  follow({" << sequence.board << ", "
         << numbers(sequence.stored_vlans) << ", {\n";
  for (const Event &event : sequence.events) stream << "      " << event_text(event) << ",\n";
  return stream << "  }});\n}\n";
}

}  // namespace model
