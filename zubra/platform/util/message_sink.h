// MessageSink: where the library's notices to the user go (a dialog, a log, a status line).
#pragma once

#include <memory>
#include <string_view>

namespace zubra {

// The receiver of the messages the library shows the user without stopping its work ("Generators
// modified.", say). The application implements it and installs one object for the process; while
// none is installed the messages are dropped. Install() shares ownership; Instance() returns a
// non-owning pointer valid until the next Install(). The library is used from one thread at a
// time, and so is the sink.
//
//   class StatusLine : public MessageSink {
//     void Show(Severity severity, std::string_view text) override { ... }
//   };
//   MessageSink::Install(std::make_shared<StatusLine>());
class MessageSink {
 public:
  enum class Severity { kInformation, kWarning, kError };

  virtual ~MessageSink() = default;

  // Shows `text` (translated, UTF-8) to the user.
  virtual void Show(Severity severity, std::string_view text) = 0;

  // The installed sink, or nullptr.
  static MessageSink* Instance();
  // Installs `sink` for the whole process, replacing any earlier one; nullptr removes it.
  static void Install(std::shared_ptr<MessageSink> sink);
  // Hands `text` to the installed sink; does nothing when none is installed.
  static void Report(Severity severity, std::string_view text);

 protected:
  MessageSink() = default;
  MessageSink(const MessageSink&) = default;
  MessageSink& operator=(const MessageSink&) = default;
};

// Installs a sink for the lifetime of the guard and puts back the one installed before.
class ScopedMessageSink {
 public:
  explicit ScopedMessageSink(std::shared_ptr<MessageSink> sink);
  ~ScopedMessageSink();

  ScopedMessageSink(const ScopedMessageSink&) = delete;
  ScopedMessageSink& operator=(const ScopedMessageSink&) = delete;

 private:
  std::shared_ptr<MessageSink> previous_;
};

}  // namespace zubra
