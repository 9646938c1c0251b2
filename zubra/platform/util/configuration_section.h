// Hierarchical key/value sections: the abstract interface through which every object of an
// investigation saves and loads itself.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zubra {

// A named section holding text values under keys, and named child sections.
//
// Values are stored as text; the typed reads and writes convert locale-independently:
// integers in decimal, doubles in the shortest text that reads back to the same double,
// booleans as "true"/"false" (reads also accept "1"/"0", "yes"/"no", any case). Keys are
// compared exactly. A section owns its children; pointers and references to a child stay
// valid until that child (or an ancestor) is removed or the root is destroyed. Keys, values
// and child names may hold any bytes but NUL, which no stored form carries: SetValue and
// CreateChild throw Exception for one and change nothing.
//
// Indexed children ("Term" number 1, 2, ...) are children whose name is paired with a number
// from 1 to kMaxChildIndex. A reader walks the numbers in use, GetChildIndexes(name), in
// ascending order, so its work follows the children that exist; CountChildren(name) gives
// only the largest number in use, which a file with a single child can make large, so it is
// never a loop bound. CreateChild throws Exception for an index outside 1..kMaxChildIndex, so
// no tree is built that could not be read back; the XML reader refuses a document with a
// larger index (naming the line), and in an INI file a section whose number is larger is not
// an indexed child (it stays a named section, see IniFileSection).
//
// Every Read* leaves `value` unchanged and returns false when the key is absent. A present
// key whose text does not convert throws Exception with the message
// "The value '%1%' of the key '%2%' is not a valid %3%." (%3% "whole number", "number" or
// "boolean"), and `value` is left unchanged.
class ConfigurationSection {
 public:
  // The backend of a section, told apart at run time (the older INI form stores some objects
  // differently from the XML form).
  enum class Kind { kXml, kIni };

  // The largest index of an indexed child: far above the count of any list an investigation
  // keeps (model terms, responses), far below what would overflow a counter.
  static constexpr int kMaxChildIndex = 1'000'000;

  ConfigurationSection() = default;
  ConfigurationSection(const ConfigurationSection&) = delete;
  ConfigurationSection& operator=(const ConfigurationSection&) = delete;
  virtual ~ConfigurationSection() = default;

  [[nodiscard]] virtual Kind GetKind() const = 0;
  [[nodiscard]] bool IsIni() const { return GetKind() == Kind::kIni; }
  // The section's own name; empty for a root.
  [[nodiscard]] virtual std::string GetName() const = 0;

  // Keys and values.
  [[nodiscard]] virtual bool HasKey(std::string_view key) const = 0;
  // The stored text of `key`, or nullopt when absent.
  [[nodiscard]] virtual std::optional<std::string> GetValue(std::string_view key) const = 0;
  // Stores `value` under `key`, replacing an existing value and keeping the key's place.
  virtual void SetValue(std::string_view key, std::string_view value) = 0;
  // Removes `key`; false when it was absent.
  virtual bool RemoveKey(std::string_view key) = 0;
  // Every key, in the order in which it was first written or read from the file.
  [[nodiscard]] virtual std::vector<std::string> GetKeys() const = 0;

  // The typed reads. ReadString (and GetString) give valid UTF-8: bytes of the stored text
  // that are not are read as U+FFFD. GetValue gives the stored bytes as they are.
  bool ReadString(std::string_view key, std::string& value) const;
  bool ReadInt(std::string_view key, int& value) const;
  bool ReadUnsigned(std::string_view key, unsigned& value) const;
  bool ReadDouble(std::string_view key, double& value) const;
  bool ReadBool(std::string_view key, bool& value) const;

  // Lenient reads for loaders that keep a field as it was when its stored text is garbled:
  // false, with `value` unchanged, when the key is absent or its text does not convert.
  // They never throw.
  bool TryReadInt(std::string_view key, int& value) const;
  bool TryReadDouble(std::string_view key, double& value) const;
  bool TryReadBool(std::string_view key, bool& value) const;

  // Convenience forms that return `fallback` when the key is absent (and throw as Read*).
  [[nodiscard]] std::string GetString(std::string_view key, std::string_view fallback = {}) const;
  [[nodiscard]] int GetInt(std::string_view key, int fallback) const;
  [[nodiscard]] double GetDouble(std::string_view key, double fallback) const;
  [[nodiscard]] bool GetBool(std::string_view key, bool fallback) const;

  void WriteString(std::string_view key, std::string_view value) { SetValue(key, value); }
  void WriteInt(std::string_view key, int value);
  void WriteUnsigned(std::string_view key, unsigned value);
  void WriteDouble(std::string_view key, double value);
  void WriteBool(std::string_view key, bool value);

  // Named children.
  [[nodiscard]] virtual bool HasChild(std::string_view name) const = 0;
  // The child of that name, or nullptr when absent.
  [[nodiscard]] virtual ConfigurationSection* OpenChild(std::string_view name) = 0;
  [[nodiscard]] virtual const ConfigurationSection* OpenChild(std::string_view name) const = 0;
  // The child of that name, created empty when absent.
  virtual ConfigurationSection& CreateChild(std::string_view name) = 0;
  // Removes the child and everything below it; false when it was absent.
  virtual bool RemoveChild(std::string_view name) = 0;
  // Names of the named (not indexed) children, in order.
  [[nodiscard]] virtual std::vector<std::string> GetChildNames() const = 0;

  // Indexed children: (name, index) with 1 <= index <= kMaxChildIndex. HasChild, OpenChild
  // and RemoveChild answer false or nullptr for any other index.
  [[nodiscard]] virtual bool HasChild(std::string_view name, int index) const = 0;
  [[nodiscard]] virtual ConfigurationSection* OpenChild(std::string_view name, int index) = 0;
  [[nodiscard]] virtual const ConfigurationSection* OpenChild(std::string_view name,
                                                              int index) const = 0;
  virtual ConfigurationSection& CreateChild(std::string_view name, int index) = 0;
  virtual bool RemoveChild(std::string_view name, int index) = 0;
  // The largest index among the indexed children of that name; 0 when there are none.
  [[nodiscard]] virtual int CountChildren(std::string_view name) const = 0;
  // The indexes in use among the indexed children of that name, ascending, each once.
  [[nodiscard]] virtual std::vector<int> GetChildIndexes(std::string_view name) const = 0;

 protected:
  [[nodiscard]] static bool IsChildIndex(int index) {
    return index >= 1 && index <= kMaxChildIndex;
  }
  // Throws Exception naming the section when `index` is outside 1..kMaxChildIndex.
  static void CheckChildIndex(std::string_view name, int index);
};

}  // namespace zubra
