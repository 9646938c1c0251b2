#include "zubra/platform/util/message_sink.h"

#include <utility>

namespace zubra {
namespace {

std::shared_ptr<MessageSink>& Slot() {
  static std::shared_ptr<MessageSink> slot;
  return slot;
}

}  // namespace

MessageSink* MessageSink::Instance() { return Slot().get(); }

void MessageSink::Install(std::shared_ptr<MessageSink> sink) { Slot() = std::move(sink); }

void MessageSink::Report(Severity severity, std::string_view text) {
  if (MessageSink* sink = Instance()) sink->Show(severity, text);
}

ScopedMessageSink::ScopedMessageSink(std::shared_ptr<MessageSink> sink) : previous_(Slot()) {
  MessageSink::Install(std::move(sink));
}

ScopedMessageSink::~ScopedMessageSink() { MessageSink::Install(std::move(previous_)); }

}  // namespace zubra
