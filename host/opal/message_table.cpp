#include "host/opal/queue.h"

namespace opal {
namespace {

/// Words of a reference.
enum : std::size_t { word_tag = 0, word_slot = 1, word_generation = 2 };
constexpr std::uint32_t reference_tag = 0x71726566;

}  // namespace

qbus_msg_ref_t MessageTable::hold(Held held) {
  if (free_.empty()) {
    free_.push_back(static_cast<std::uint32_t>(slots_.size()));
    slots_.emplace_back();
  }
  const std::uint32_t index = free_.back();
  free_.pop_back();
  Slot &slot = slots_[index];
  slot.held = std::move(held);
  qbus_msg_ref_t reference{};
  reference.word[word_tag] = reference_tag;
  reference.word[word_slot] = index;
  reference.word[word_generation] = slot.generation;
  return reference;
}

Held *MessageTable::find(const qbus_msg_ref_t *reference) {
  if (reference == nullptr || reference->word[word_tag] != reference_tag) return nullptr;
  if (reference->word[word_slot] >= slots_.size()) return nullptr;
  Slot &slot = slots_[reference->word[word_slot]];
  const bool current = slot.generation == reference->word[word_generation];
  return current && slot.held.kind != HeldKind::nothing ? &slot.held : nullptr;
}

bool MessageTable::release(const qbus_msg_ref_t *reference) {
  if (find(reference) == nullptr) return false;
  Slot &slot = slots_[reference->word[word_slot]];
  slot.held = Held{};
  ++slot.generation;
  free_.push_back(reference->word[word_slot]);
  return true;
}

MessageTable &message_table() {
  static MessageTable table;
  return table;
}

const bus::Message *received_message(const qbus_msg_ref_t *reference) {
  const Held *held = message_table().find(reference);
  return held != nullptr && held->kind == HeldKind::received ? &held->message : nullptr;
}

}  // namespace opal
