// The INI-backed configuration section of older investigation files, and the factory that
// opens and saves such files.
#pragma once

#include <list>
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

// A configuration section stored in a flat INI file (Kind::kIni).
//
// The file is read whole into memory and printed whole when saved. An INI file has one level
// of sections, so the tree is flattened:
//   - the root's own keys are those of the nameless global part at the top of the file;
//   - a child named X, opened or created from ANY section of the file, is the file's section
//     [X]. So a factor section [Temp] asked for its child "Temp" returns [Temp] itself: older
//     files keep a variable's values and its transform in the variable's one section;
//   - the indexed child (X, i) is the section [X<i>]: ("Term", 3) is [Term3]. The file does
//     not record which sections were indexed, so CountChildren("Term") is the largest i for
//     which a section named "Term" followed by the digits of i exists, and a named child
//     "Term3" and the indexed child ("Term", 3) are the same section. Digits with a leading
//     zero or above kMaxChildIndex make no index: [Term2000000000] is only a named section;
//   - the root's GetChildNames lists every section of the file in file order; a non-root
//     section lists none, so walking the tree from the root visits each section once;
//   - removing the child X from any section removes [X] from the file. Removing the section
//     the call is made on destroys that object: do not use it afterwards.
// A child's GetName is its section name ("Term3" for an indexed one).
//
// Text is written as it is when the INI syntax keeps it intact, so ordinary entries read the
// same as in older files (Name=Temperature, Settings=a,b,c, TransConst=1,0,1). A key, value
// or section name is written in double quotes with backslash escapes when it is empty (keys
// and section names only), begins or ends with a space or tab, holds a control character
// (below 0x20: tab, line feed, carriage return, ...), or begins and ends with a double quote;
// a key also when it holds '=' or begins with ';', '#', '[' or a UTF-8 byte order mark, and
// a section name when it holds ']'. Inside the quotes, \\ \" \t \n \r stand for themselves
// and \xHH for any byte (the writer uses it for the other control characters, '=' and ']').
// On reading, a text in double quotes whose inside is a valid escaped form is unescaped; any
// other text, including one with an unknown escape, is taken as it is. So every key, value
// and name round-trips byte for byte, invalid UTF-8 included. NUL cannot be stored: SetValue
// and CreateChild throw Exception for a key, value or name holding one.
//
// Reading is lenient about what older files contain: a UTF-8 byte order mark, CRLF or CR
// line ends, comment lines starting with ';' or '#' (dropped; saving does not keep them), a
// key given twice in a section (the last value wins, in the place of the first), a section
// given twice (merged). Keys are compared exactly, case included. Saving writes LF line ends,
// no byte order mark, and no spaces around '='.
class IniFileSection final : public ConfigurationSection {
 public:
  // An empty root (an empty file).
  IniFileSection();
  ~IniFileSection() override;

  // Reads the INI file at `path`. Throws Exception naming the path when the file does not
  // exist, cannot be read, or its text is not accepted by LoadString.
  static std::unique_ptr<IniFileSection> LoadFile(const std::string& path);

  // Parses a whole INI text. Throws Exception when the text holds a NUL byte, or has a line
  // that is neither blank, a comment, a section header "[name]" (optionally followed by a
  // comment) nor "key=value" with a non-empty key. Nothing is returned on failure.
  static std::unique_ptr<IniFileSection> LoadString(std::string_view ini);

  // Writes ToString() to `path` through WriteFileAtomically (same failures, same guarantee
  // that an existing file survives a failed save).
  void SaveFile(const std::string& path) const;

  // The text of the whole file this section belongs to, whichever section it is called on.
  [[nodiscard]] std::string ToString() const;

  // True for the root (the global part of the file).
  [[nodiscard]] bool IsRoot() const { return root_ == this; }

  [[nodiscard]] Kind GetKind() const override { return Kind::kIni; }
  [[nodiscard]] std::string GetName() const override { return name_; }

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
  // Reads and prints INI text; defined with the INI library in the source file.
  class Codec;

  IniFileSection(IniFileSection& root, std::string name);

  // Section lookups, always answered by the root.
  [[nodiscard]] IniFileSection* FindSection(std::string_view name) const;
  IniFileSection& AddSection(std::string_view name);
  bool EraseSection(std::string_view name);

  using SectionList = std::list<std::unique_ptr<IniFileSection>>;

  IniFileSection* root_;  // this for the root; not owned
  const std::string name_;
  KeyValueList values_;
  // The root only: the file's sections in file order, and each by its name (views of the
  // sections' own names), so that finding, adding and removing one take constant time.
  SectionList sections_;
  std::unordered_map<std::string_view, SectionList::iterator> section_index_;
};

// Opens and saves the INI files of older investigations.
class IniFileFactory {
 public:
  // Reads the INI file at `path`; when nothing exists there yet, returns an empty section
  // (saving it creates the file). Throws Exception naming the path when the file exists but
  // cannot be read or is malformed (see IniFileSection::LoadString).
  static std::unique_ptr<IniFileSection> Open(const std::string& path);

  // Writes the whole file that `section` belongs to at `path`, atomically; throws Exception
  // naming the path on failure, leaving an existing file untouched.
  static void Save(const IniFileSection& section, const std::string& path);
};

}  // namespace zubra
