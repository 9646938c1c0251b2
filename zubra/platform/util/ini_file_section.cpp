#include "zubra/platform/util/ini_file_section.h"

#include <SimpleIni.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string>
#include <system_error>

#include "zubra/platform/util/atomic_file.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

using Ini = CSimpleIniCaseA;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// What a text is in the file; each has its own characters that the syntax would change.
enum class Role { kKey, kValue, kSectionName };

bool IsSpaceOrTab(char c) { return c == ' ' || c == '\t'; }

bool IsQuotedForm(std::string_view text) {
  return text.size() >= 2 && text.front() == '"' && text.back() == '"';
}

// True when `text` written as it is would not read back unchanged.
bool NeedsQuotes(std::string_view text, Role role) {
  if (text.empty()) return role != Role::kValue;
  if (IsSpaceOrTab(text.front()) || IsSpaceOrTab(text.back()) || IsQuotedForm(text)) return true;
  if (role == Role::kKey) {
    const char first = text.front();
    if (first == ';' || first == '#' || first == '[' || text.starts_with(kByteOrderMark)) {
      return true;
    }
  }
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < 0x20) return true;
    if (role == Role::kKey && c == '=') return true;
    if (role == Role::kSectionName && c == ']') return true;
  }
  return false;
}

void AppendHexEscape(std::string& out, unsigned char byte) {
  constexpr const char* kDigits = "0123456789ABCDEF";
  out += "\\x";
  out += kDigits[byte >> 4];
  out += kDigits[byte & 0x0F];
}

std::string Encode(std::string_view text, Role role) {
  if (!NeedsQuotes(text, role)) return std::string(text);
  std::string out;
  out.reserve(text.size() + 8);
  out += '"';
  for (const char c : text) {
    switch (c) {
      case '\\':
        out += "\\\\";
        break;
      case '"':
        out += "\\\"";
        break;
      case '\t':
        out += "\\t";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '=':
      case ']':
        AppendHexEscape(out, static_cast<unsigned char>(c));
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          AppendHexEscape(out, static_cast<unsigned char>(c));
        } else {
          out += c;
        }
    }
  }
  out += '"';
  return out;
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The unescaped inside of a quoted form, or nullopt when it is not a valid escaped form.
std::optional<std::string> Unescape(std::string_view inside) {
  std::string out;
  out.reserve(inside.size());
  for (std::size_t i = 0; i < inside.size(); ++i) {
    const char c = inside[i];
    if (c == '"') return std::nullopt;
    if (c != '\\') {
      out += c;
      continue;
    }
    if (++i == inside.size()) return std::nullopt;
    switch (inside[i]) {
      case '\\':
        out += '\\';
        break;
      case '"':
        out += '"';
        break;
      case 't':
        out += '\t';
        break;
      case 'n':
        out += '\n';
        break;
      case 'r':
        out += '\r';
        break;
      case 'x': {
        if (i + 2 >= inside.size()) return std::nullopt;
        const int high = HexValue(inside[i + 1]);
        const int low = HexValue(inside[i + 2]);
        const int byte = high * 16 + low;
        if (high < 0 || low < 0 || byte == 0) return std::nullopt;
        out += static_cast<char>(byte);
        i += 2;
        break;
      }
      default:
        return std::nullopt;
    }
  }
  return out;
}

std::string Decode(std::string_view text) {
  if (IsQuotedForm(text)) {
    if (std::optional<std::string> inside = Unescape(text.substr(1, text.size() - 2))) {
      return std::move(*inside);
    }
  }
  return std::string(text);
}

// The number after `name` in a section name made of `name` and the digits of a child index
// ("Term12" for "Term" gives 12), or 0; a number above kMaxChildIndex gives 0 as well.
int IndexAfter(std::string_view section_name, std::string_view name) {
  if (!section_name.starts_with(name)) return 0;
  const std::string_view digits = section_name.substr(name.size());
  if (digits.empty() || digits.front() == '0') return 0;
  int index = 0;
  const char* const end = digits.data() + digits.size();
  const auto [ptr, ec] = std::from_chars(digits.data(), end, index);
  const bool valid =
      ec == std::errc() && ptr == end && index > 0 && index <= ConfigurationSection::kMaxChildIndex;
  return valid ? index : 0;
}

std::string IndexedName(std::string_view name, int index) {
  return std::string(name) + std::to_string(index);
}

bool IsCommentStart(char c) { return c == ';' || c == '#'; }

// The 1-based number of the first line the INI reader would silently skip, or 0 when every
// line is blank, a comment, a section header or a key=value entry.
std::size_t FindMalformedLine(std::string_view text) {
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  std::size_t number = 0;
  while (!text.empty()) {
    ++number;
    const std::size_t end = text.find_first_of("\r\n");
    std::string_view line = text.substr(0, end);
    if (end == std::string_view::npos) {
      text = {};
    } else {
      const bool crlf = text[end] == '\r' && end + 1 < text.size() && text[end + 1] == '\n';
      text.remove_prefix(end + (crlf ? 2 : 1));
    }
    while (!line.empty() && IsSpaceOrTab(line.front())) line.remove_prefix(1);
    if (line.empty() || IsCommentStart(line.front())) continue;
    if (line.front() == '[') {
      const std::size_t close = line.find(']');
      if (close == std::string_view::npos) return number;
      std::string_view rest = line.substr(close + 1);
      while (!rest.empty() && IsSpaceOrTab(rest.front())) rest.remove_prefix(1);
      if (!rest.empty() && !IsCommentStart(rest.front())) return number;
      continue;
    }
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos || equals == 0) return number;
  }
  return 0;
}

}  // namespace

// Reads INI text into a tree and prints a tree as INI text through the INI library.
class IniFileSection::Codec {
 public:
  static std::unique_ptr<IniFileSection> Parse(std::string_view text);
  static std::string Print(const IniFileSection& root);

 private:
  static void CopyKeys(const Ini::TKeyVal& keys, IniFileSection& section);
  static void AddKeys(const IniFileSection& section, const std::string& encoded_name, Ini& ini);
};

void IniFileSection::Codec::CopyKeys(const Ini::TKeyVal& keys, IniFileSection& section) {
  std::vector<std::pair<int, std::pair<const char*, const char*>>> ordered;
  ordered.reserve(keys.size());
  for (const auto& [entry, value] : keys) {
    ordered.push_back({entry.nOrder, {entry.pItem, value}});
  }
  std::sort(ordered.begin(), ordered.end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
  // Different spellings of a key (plain and quoted) decode to the same key; the last wins,
  // in the place of the first, as Set keeps it.
  for (const auto& [order, entry] : ordered) {
    section.values_.Set(Decode(entry.first), Decode(entry.second));
  }
}

std::unique_ptr<IniFileSection> IniFileSection::Codec::Parse(std::string_view text) {
  if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos) {
    throw Exception(ExceptionMessage::translate("The INI text holds a NUL byte at offset {}.") %
                    nul);
  }
  if (const std::size_t line = FindMalformedLine(text); line != 0) {
    throw Exception(
        ExceptionMessage::translate("The INI text is malformed: line {} is neither a section, a "
                                    "key=value entry nor a comment.") %
        line);
  }
  Ini ini(/*a_bIsUtf8=*/true, /*a_bMultiKey=*/false, /*a_bMultiLine=*/false);
  if (ini.LoadData(text.data(), text.size()) < 0) {
    throw Exception(ExceptionMessage::translate("The INI text could not be read."));
  }
  Ini::TNamesDepend sections;
  ini.GetAllSections(sections);
  sections.sort(Ini::Entry::LoadOrder());

  auto root = std::make_unique<IniFileSection>();
  for (const Ini::Entry& entry : sections) {
    const Ini::TKeyVal* keys = ini.GetSection(entry.pItem);
    IniFileSection& section = *entry.pItem == '\0' ? *root : root->AddSection(Decode(entry.pItem));
    if (keys != nullptr) CopyKeys(*keys, section);
  }
  return root;
}

void IniFileSection::Codec::AddKeys(const IniFileSection& section, const std::string& encoded_name,
                                    Ini& ini) {
  for (const auto& [key, value] : section.values_.Entries()) {
    if (ini.SetValue(encoded_name.c_str(), Encode(key, Role::kKey).c_str(),
                     Encode(value, Role::kValue).c_str()) < 0) {
      throw Exception(ExceptionMessage::translate("The INI text could not be built."));
    }
  }
}

std::string IniFileSection::Codec::Print(const IniFileSection& root) {
  Ini ini(/*a_bIsUtf8=*/true, /*a_bMultiKey=*/false, /*a_bMultiLine=*/false);
  ini.SetSpaces(false);
  AddKeys(root, std::string(), ini);
  for (const std::unique_ptr<IniFileSection>& section : root.sections_) {
    const std::string name = Encode(section->name_, Role::kSectionName);
    if (ini.SetValue(name.c_str(), nullptr, nullptr) < 0) {
      throw Exception(ExceptionMessage::translate("The INI text could not be built."));
    }
    AddKeys(*section, name, ini);
  }
  std::string text;
  if (ini.Save(text, /*a_bAddSignature=*/false) < 0) {
    throw Exception(ExceptionMessage::translate("The INI text could not be built."));
  }
  return text;
}

IniFileSection::IniFileSection() : root_(this) {}

IniFileSection::IniFileSection(IniFileSection& root, std::string name)
    : root_(&root), name_(std::move(name)) {}

IniFileSection::~IniFileSection() = default;

std::unique_ptr<IniFileSection> IniFileSection::LoadFile(const std::string& path) {
  const std::string text = ReadWholeFile(path);
  try {
    return Codec::Parse(text);
  } catch (const Exception& error) {
    throw Exception(ExceptionMessage::translate("Cannot load the file '{}'. {}") % path %
                    error.Message());
  }
}

std::unique_ptr<IniFileSection> IniFileSection::LoadString(std::string_view ini) {
  return Codec::Parse(ini);
}

void IniFileSection::SaveFile(const std::string& path) const {
  WriteFileAtomically(path, ToString());
}

std::string IniFileSection::ToString() const { return Codec::Print(*root_); }

bool IniFileSection::HasKey(std::string_view key) const { return values_.Has(key); }

std::optional<std::string> IniFileSection::GetValue(std::string_view key) const {
  return values_.Get(key);
}

void IniFileSection::SetValue(std::string_view key, std::string_view value) {
  values_.Set(key, value);
}

bool IniFileSection::RemoveKey(std::string_view key) { return values_.Remove(key); }

std::vector<std::string> IniFileSection::GetKeys() const { return values_.Keys(); }

IniFileSection* IniFileSection::FindSection(std::string_view name) const {
  const auto it = root_->section_index_.find(name);
  return it == root_->section_index_.end() ? nullptr : it->second->get();
}

IniFileSection& IniFileSection::AddSection(std::string_view name) {
  if (IniFileSection* existing = FindSection(name)) return *existing;
  KeyValueList::CheckNoNul(name);
  SectionList& sections = root_->sections_;
  sections.push_back(
      std::unique_ptr<IniFileSection>(new IniFileSection(*root_, std::string(name))));
  IniFileSection& added = *sections.back();
  root_->section_index_.emplace(added.name_, std::prev(sections.end()));
  return added;
}

bool IniFileSection::EraseSection(std::string_view name) {
  IniFileSection& root = *root_;
  const auto it = root.section_index_.find(name);
  if (it == root.section_index_.end()) return false;
  const SectionList::iterator section = it->second;
  root.section_index_.erase(it);
  // The section erased may be this very object: nothing of it is touched after the erase.
  root.sections_.erase(section);
  return true;
}

bool IniFileSection::HasChild(std::string_view name) const { return FindSection(name) != nullptr; }

ConfigurationSection* IniFileSection::OpenChild(std::string_view name) { return FindSection(name); }

const ConfigurationSection* IniFileSection::OpenChild(std::string_view name) const {
  return FindSection(name);
}

ConfigurationSection& IniFileSection::CreateChild(std::string_view name) {
  return AddSection(name);
}

bool IniFileSection::RemoveChild(std::string_view name) { return EraseSection(name); }

std::vector<std::string> IniFileSection::GetChildNames() const {
  std::vector<std::string> names;
  if (!IsRoot()) return names;
  names.reserve(sections_.size());
  for (const std::unique_ptr<IniFileSection>& section : sections_) {
    names.push_back(section->name_);
  }
  return names;
}

bool IniFileSection::HasChild(std::string_view name, int index) const {
  return IsChildIndex(index) && FindSection(IndexedName(name, index)) != nullptr;
}

ConfigurationSection* IniFileSection::OpenChild(std::string_view name, int index) {
  return IsChildIndex(index) ? FindSection(IndexedName(name, index)) : nullptr;
}

const ConfigurationSection* IniFileSection::OpenChild(std::string_view name, int index) const {
  return IsChildIndex(index) ? FindSection(IndexedName(name, index)) : nullptr;
}

ConfigurationSection& IniFileSection::CreateChild(std::string_view name, int index) {
  CheckChildIndex(name, index);
  return AddSection(IndexedName(name, index));
}

bool IniFileSection::RemoveChild(std::string_view name, int index) {
  return IsChildIndex(index) && EraseSection(IndexedName(name, index));
}

int IniFileSection::CountChildren(std::string_view name) const {
  int count = 0;
  for (const std::unique_ptr<IniFileSection>& section : root_->sections_) {
    count = std::max(count, IndexAfter(section->name_, name));
  }
  return count;
}

std::vector<int> IniFileSection::GetChildIndexes(std::string_view name) const {
  std::vector<int> indexes;
  for (const std::unique_ptr<IniFileSection>& section : root_->sections_) {
    if (const int index = IndexAfter(section->name_, name); index > 0) indexes.push_back(index);
  }
  std::sort(indexes.begin(), indexes.end());
  indexes.erase(std::unique(indexes.begin(), indexes.end()), indexes.end());
  return indexes;
}

std::unique_ptr<IniFileSection> IniFileFactory::Open(const std::string& path) {
  const std::optional<std::string> text = ReadFileIfExists(path);
  if (!text) return std::make_unique<IniFileSection>();
  try {
    return IniFileSection::LoadString(*text);
  } catch (const Exception& error) {
    throw Exception(ExceptionMessage::translate("Cannot load the file '{}'. {}") % path %
                    error.Message());
  }
}

void IniFileFactory::Save(const IniFileSection& section, const std::string& path) {
  section.SaveFile(path);
}

}  // namespace zubra
