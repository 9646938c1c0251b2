// The XML-backed configuration section: a whole section tree held in memory, read from and
// written to one XML document.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/key_value_list.h"

namespace zubra {

// A configuration section tree stored as XML (Kind::kXml).
//
// Every section is a node with a name, an optional index (for indexed children), its keys in
// order, and its children in order; the root owns the whole tree. Loading parses the whole
// document and builds a new tree; saving prints the whole tree. Nothing is read from or
// written to disk between the two.
//
// The document looks like this (values first, then child sections, each in its order):
//
//   <?xml version="1.0" encoding="UTF-8"?>
//   <zubra version="1">
//       <value key="Name">Temperature</value>
//       <section name="TermInfo">
//           <value key="Name">Process</value>
//           <section name="Term" index="1">
//               <value key="V1">2</value>
//           </section>
//       </section>
//   </zubra>
//
// Text is written with the usual XML escapes (&amp; &lt; &gt; &quot;). Characters that an XML
// reader would drop or change are written as character references: carriage return and the
// control characters 0x01..0x1F in every place, and tab and line feed inside attributes (keys
// and section names); a value made only of spaces, tabs and line feeds has its first
// character written as a reference, since a reader would otherwise take it for formatting.
// So every key, value and name round-trips byte for byte, invalid UTF-8 included; ordinary
// text stays readable as it is. NUL cannot be carried: SetValue and CreateChild throw
// Exception for a key, value or name holding one.
//
// Sections nest at most kMaxDepth levels below the root: the XML parser refuses deeper
// documents, so CreateChild throws Exception rather than build a tree that could be saved
// but never loaded again, and LoadString rejects a deeper document.
//
//   auto root = TinyXML2Section::LoadFile(path);
//   ConfigurationSection& model = root->CreateChild("NewModelSpec");
//   model.WriteInt("Runs", 12);
//   root->SaveFile(path);
class TinyXML2Section final : public ConfigurationSection {
 public:
  // Deepest level of a section below the root (the root is level 0).
  static constexpr int kMaxDepth = 96;

  // An empty root.
  TinyXML2Section();
  ~TinyXML2Section() override;

  // Reads the XML document at `path`. Throws Exception naming the path when the file cannot
  // be read or its text is not accepted by LoadString.
  static std::unique_ptr<TinyXML2Section> LoadFile(const std::string& path);

  // Parses a whole document (a UTF-8 byte order mark is allowed). Throws Exception, with the
  // line of the fault where there is one, when the text holds a NUL byte, is not well-formed
  // XML, or is not shaped as above: another root element or version, an unknown element or
  // attribute, text outside a value, a missing name or key, an index that is not a positive
  // whole number, a key or child given twice in one section, or sections nested deeper than
  // kMaxDepth. Nothing is returned on failure.
  static std::unique_ptr<TinyXML2Section> LoadString(std::string_view xml);

  // Writes ToString() to `path` through WriteFileAtomically (same failures, same guarantee
  // that an existing file survives a failed save).
  void SaveFile(const std::string& path) const;

  // The document holding this section's keys and children under the root element. Called on
  // a child, the child becomes the root of the document (its own name and index are not
  // written).
  [[nodiscard]] std::string ToString() const;

  [[nodiscard]] Kind GetKind() const override { return Kind::kXml; }
  [[nodiscard]] std::string GetName() const override { return name_; }
  // The index of an indexed child; 0 for a named child and for the root.
  [[nodiscard]] int GetIndex() const { return index_; }

  [[nodiscard]] bool HasKey(std::string_view key) const override;
  [[nodiscard]] std::optional<std::string> GetValue(std::string_view key) const override;
  void SetValue(std::string_view key, std::string_view value) override;
  bool RemoveKey(std::string_view key) override;
  [[nodiscard]] std::vector<std::string> GetKeys() const override;

  [[nodiscard]] bool HasChild(std::string_view name) const override;
  [[nodiscard]] ConfigurationSection* OpenChild(std::string_view name) override;
  [[nodiscard]] const ConfigurationSection* OpenChild(std::string_view name) const override;
  ConfigurationSection& CreateChild(std::string_view name) override;
  bool RemoveChild(std::string_view name) override;
  [[nodiscard]] std::vector<std::string> GetChildNames() const override;

  [[nodiscard]] bool HasChild(std::string_view name, int index) const override;
  [[nodiscard]] ConfigurationSection* OpenChild(std::string_view name, int index) override;
  [[nodiscard]] const ConfigurationSection* OpenChild(std::string_view name,
                                                      int index) const override;
  // Throws Exception when `index` is outside 1..kMaxChildIndex.
  ConfigurationSection& CreateChild(std::string_view name, int index) override;
  bool RemoveChild(std::string_view name, int index) override;
  [[nodiscard]] int CountChildren(std::string_view name) const override;
  [[nodiscard]] std::vector<int> GetChildIndexes(std::string_view name) const override;

 private:
  // Reads and prints documents; defined with the XML library in the source file.
  class Codec;

  // A child's name (a view of the child's own name) and index (0 for a named child).
  using ChildKey = std::pair<std::string_view, int>;
  struct ChildKeyHash {
    std::size_t operator()(const ChildKey& key) const noexcept;
  };

  TinyXML2Section(std::string name, int index, int depth);

  // The child with that name and index (0 for a named child), or nullptr.
  [[nodiscard]] TinyXML2Section* FindChild(std::string_view name, int index) const;
  // Appends a new child, which must not exist yet.
  TinyXML2Section& AppendChild(std::string_view name, int index);
  TinyXML2Section& AddChild(std::string_view name, int index);
  bool EraseChild(std::string_view name, int index);

  const std::string name_;
  const int index_ = 0;
  const int depth_ = 0;
  KeyValueList values_;
  std::vector<std::unique_ptr<TinyXML2Section>> children_;
  // Every child by name and index, so that finding one takes constant time.
  std::unordered_map<ChildKey, TinyXML2Section*, ChildKeyHash> child_index_;
};

}  // namespace zubra
