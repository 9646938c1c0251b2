#include "zubra/platform/util/tinyxml2_section.h"

#include <tinyxml2.h>

#include <algorithm>
#include <string>

#include "zubra/platform/util/atomic_file.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

constexpr const char* kRootElement = "zubra";
constexpr const char* kSectionElement = "section";
constexpr const char* kValueElement = "value";
constexpr const char* kVersionAttribute = "version";
constexpr const char* kNameAttribute = "name";
constexpr const char* kIndexAttribute = "index";
constexpr const char* kKeyAttribute = "key";
constexpr std::string_view kFormatVersion = "1";

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n'; }

// Appends `text` escaped for an attribute value or for element text; see the class comment.
void AppendEscaped(std::string& out, std::string_view text, bool attribute) {
  const bool blank_only =
      !attribute && !text.empty() && std::all_of(text.begin(), text.end(), IsBlank);
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    switch (c) {
      case '&':
        out += "&amp;";
        continue;
      case '<':
        out += "&lt;";
        continue;
      case '>':
        out += "&gt;";
        continue;
      case '"':
        out += attribute ? "&quot;" : "\"";
        continue;
      default:
        break;
    }
    const auto code = static_cast<unsigned char>(c);
    const bool control = code < 0x20 && (attribute || (c != '\t' && c != '\n'));
    if (control || (blank_only && i == 0)) {
      out += "&#";
      out += std::to_string(code);
      out += ';';
    } else {
      out += c;
    }
  }
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// What an index attribute holds.
enum class IndexText { kValid, kMalformed, kTooLarge };

// Reads a canonical positive decimal ("7", not "07", "+7" or "7.0") into `index` when it is at
// most kMaxChildIndex.
IndexText ParseIndex(std::string_view text, int& index) {
  if (text.empty() || text.front() == '0' || !std::all_of(text.begin(), text.end(), IsDigit)) {
    return IndexText::kMalformed;
  }
  static_assert(ConfigurationSection::kMaxChildIndex < 1'000'000'000);
  // Ten digits and more are above the limit, and nine always fit an int.
  if (text.size() > 9) return IndexText::kTooLarge;
  index = 0;
  for (const char digit : text) index = index * 10 + (digit - '0');
  return index <= ConfigurationSection::kMaxChildIndex ? IndexText::kValid : IndexText::kTooLarge;
}

}  // namespace

// Builds trees from tinyxml2 documents and prints trees through tinyxml2's printer.
class TinyXML2Section::Codec {
 public:
  static std::unique_ptr<TinyXML2Section> Parse(std::string_view xml);
  static std::string Print(const TinyXML2Section& root);

 private:
  static void ReadSection(const tinyxml2::XMLElement& element, TinyXML2Section& section);
  static void ReadValue(const tinyxml2::XMLElement& element, TinyXML2Section& section);
  static void CheckAttributes(const tinyxml2::XMLElement& element, const char* allowed1,
                              const char* allowed2);
  static const char* RequiredAttribute(const tinyxml2::XMLElement& element, const char* name);
  static void PrintSection(const TinyXML2Section& section, tinyxml2::XMLPrinter& printer,
                           std::string& scratch);
};

void TinyXML2Section::Codec::CheckAttributes(const tinyxml2::XMLElement& element,
                                             const char* allowed1, const char* allowed2) {
  for (const tinyxml2::XMLAttribute* attribute = element.FirstAttribute(); attribute != nullptr;
       attribute = attribute->Next()) {
    const std::string_view name = attribute->Name();
    if (name == allowed1 || (allowed2 != nullptr && name == allowed2)) continue;
    throw Exception(ExceptionMessage::translate(
                        "The XML document has an unexpected attribute '{}' on <{}> at line {}.") %
                    name % element.Name() % element.GetLineNum());
  }
}

const char* TinyXML2Section::Codec::RequiredAttribute(const tinyxml2::XMLElement& element,
                                                      const char* name) {
  const char* value = element.Attribute(name);
  if (value == nullptr) {
    throw Exception(ExceptionMessage::translate(
                        "The XML document lacks the attribute '{}' on <{}> at line {}.") %
                    name % element.Name() % element.GetLineNum());
  }
  return value;
}

void TinyXML2Section::Codec::ReadValue(const tinyxml2::XMLElement& element,
                                       TinyXML2Section& section) {
  CheckAttributes(element, kKeyAttribute, nullptr);
  const char* key = RequiredAttribute(element, kKeyAttribute);
  if (section.values_.Has(key)) {
    throw Exception(ExceptionMessage::translate(
                        "The XML document gives the key '{}' twice in one section at line {}.") %
                    key % element.GetLineNum());
  }
  std::string text;
  for (const tinyxml2::XMLNode* node = element.FirstChild(); node != nullptr;
       node = node->NextSibling()) {
    if (node->ToText() != nullptr) {
      text += node->Value();
    } else if (node->ToComment() == nullptr) {
      throw Exception(ExceptionMessage::translate(
                          "The XML document has unexpected content inside the value '{}' at line "
                          "{}.") %
                      key % node->GetLineNum());
    }
  }
  section.values_.Set(key, text);
}

void TinyXML2Section::Codec::ReadSection(const tinyxml2::XMLElement& element,
                                         TinyXML2Section& section) {
  for (const tinyxml2::XMLNode* node = element.FirstChild(); node != nullptr;
       node = node->NextSibling()) {
    if (node->ToComment() != nullptr) continue;
    const tinyxml2::XMLElement* child = node->ToElement();
    if (child == nullptr) {
      if (node->ToText() != nullptr) {
        throw Exception(
            ExceptionMessage::translate("The XML document has text outside a value at line {}.") %
            node->GetLineNum());
      }
      throw Exception(
          ExceptionMessage::translate("The XML document has unexpected content at line {}.") %
          node->GetLineNum());
    }
    const std::string_view tag = child->Name();
    if (tag == kValueElement) {
      ReadValue(*child, section);
    } else if (tag == kSectionElement) {
      CheckAttributes(*child, kNameAttribute, kIndexAttribute);
      const char* name = RequiredAttribute(*child, kNameAttribute);
      int index = 0;
      if (const char* index_text = child->Attribute(kIndexAttribute); index_text != nullptr) {
        switch (ParseIndex(index_text, index)) {
          case IndexText::kValid:
            break;
          case IndexText::kMalformed:
            throw Exception(ExceptionMessage::translate(
                                "The XML document has the index '{}', which is not a positive "
                                "whole number, at line {}.") %
                            index_text % child->GetLineNum());
          case IndexText::kTooLarge:
            throw Exception(ExceptionMessage::translate(
                                "The XML document has the index '{}', above the largest index {}, "
                                "at line {}.") %
                            index_text % kMaxChildIndex % child->GetLineNum());
        }
      }
      if (section.FindChild(name, index) != nullptr) {
        if (index == 0) {
          throw Exception(ExceptionMessage::translate(
                              "The XML document gives the section '{}' twice in one section at "
                              "line {}.") %
                          name % child->GetLineNum());
        }
        throw Exception(ExceptionMessage::translate(
                            "The XML document gives the section '{}' with index {} twice in one "
                            "section at line {}.") %
                        name % index % child->GetLineNum());
      }
      if (section.depth_ >= kMaxDepth) {
        throw Exception(ExceptionMessage::translate(
                            "The XML document nests sections deeper than {} levels at line {}.") %
                        kMaxDepth % child->GetLineNum());
      }
      ReadSection(*child, section.AppendChild(name, index));
    } else {
      throw Exception(ExceptionMessage::translate(
                          "The XML document has an unexpected element <{}> at line {}.") %
                      tag % child->GetLineNum());
    }
  }
}

std::unique_ptr<TinyXML2Section> TinyXML2Section::Codec::Parse(std::string_view xml) {
  if (const std::size_t nul = xml.find('\0'); nul != std::string_view::npos) {
    throw Exception(ExceptionMessage::translate("The XML document holds a NUL byte at offset {}.") %
                    nul);
  }
  tinyxml2::XMLDocument document(true, tinyxml2::PRESERVE_WHITESPACE);
  const tinyxml2::XMLError error = document.Parse(xml.data(), xml.size());
  if (error == tinyxml2::XML_ELEMENT_DEPTH_EXCEEDED) {
    throw Exception(ExceptionMessage::translate(
                        "The XML document nests sections deeper than {} levels at line {}.") %
                    kMaxDepth % document.ErrorLineNum());
  }
  if (error != tinyxml2::XML_SUCCESS) {
    throw Exception(
        ExceptionMessage::translate("The XML document is not well formed: {} at line {}.") %
        tinyxml2::XMLDocument::ErrorIDToName(error) % document.ErrorLineNum());
  }

  const tinyxml2::XMLElement* root = nullptr;
  for (const tinyxml2::XMLNode* node = document.FirstChild(); node != nullptr;
       node = node->NextSibling()) {
    if (node->ToComment() != nullptr) continue;
    if (node->ToDeclaration() != nullptr && root == nullptr) continue;
    const tinyxml2::XMLElement* element = node->ToElement();
    if (element == nullptr) {
      if (node->ToText() != nullptr) {
        throw Exception(
            ExceptionMessage::translate("The XML document has text outside a value at line {}.") %
            node->GetLineNum());
      }
      throw Exception(
          ExceptionMessage::translate("The XML document has unexpected content at line {}.") %
          node->GetLineNum());
    }
    if (root != nullptr) {
      throw Exception(ExceptionMessage::translate(
                          "The XML document has a second root element <{}> at line {}.") %
                      element->Name() % element->GetLineNum());
    }
    root = element;
  }
  if (root == nullptr) {
    throw Exception(ExceptionMessage::translate("The XML document has no root element."));
  }
  if (std::string_view(root->Name()) != kRootElement) {
    throw Exception(ExceptionMessage::translate(
                        "The XML document is not a configuration: its root element is <{}>, "
                        "not <{}>.") %
                    root->Name() % kRootElement);
  }
  CheckAttributes(*root, kVersionAttribute, nullptr);
  const char* version = RequiredAttribute(*root, kVersionAttribute);
  if (version != kFormatVersion) {
    throw Exception(ExceptionMessage::translate(
                        "The XML document has the format version '{}'; this program reads "
                        "version {}.") %
                    version % kFormatVersion);
  }
  auto tree = std::make_unique<TinyXML2Section>();
  ReadSection(*root, *tree);
  return tree;
}

void TinyXML2Section::Codec::PrintSection(const TinyXML2Section& section,
                                          tinyxml2::XMLPrinter& printer, std::string& scratch) {
  for (const auto& [key, value] : section.values_.Entries()) {
    printer.OpenElement(kValueElement);
    scratch.clear();
    AppendEscaped(scratch, key, true);
    printer.PushAttribute(kKeyAttribute, scratch.c_str());
    if (!value.empty()) {
      scratch.clear();
      AppendEscaped(scratch, value, false);
      printer.PushText(scratch.c_str());
    }
    printer.CloseElement();
  }
  for (const std::unique_ptr<TinyXML2Section>& child : section.children_) {
    printer.OpenElement(kSectionElement);
    scratch.clear();
    AppendEscaped(scratch, child->name_, true);
    printer.PushAttribute(kNameAttribute, scratch.c_str());
    if (child->index_ > 0) printer.PushAttribute(kIndexAttribute, child->index_);
    PrintSection(*child, printer, scratch);
    printer.CloseElement();
  }
}

std::string TinyXML2Section::Codec::Print(const TinyXML2Section& root) {
  tinyxml2::XMLPrinter printer;
  // A document built without entity processing switches the printer to writing text as it is
  // given: every text passes through AppendEscaped first, which escapes more than the printer.
  const tinyxml2::XMLDocument verbatim(false);
  printer.VisitEnter(verbatim);
  printer.PushDeclaration(R"(xml version="1.0" encoding="UTF-8")");
  printer.OpenElement(kRootElement);
  printer.PushAttribute(kVersionAttribute, std::string(kFormatVersion).c_str());
  std::string scratch;
  PrintSection(root, printer, scratch);
  printer.CloseElement();
  return {printer.CStr(), static_cast<std::size_t>(printer.CStrSize() - 1)};
}

TinyXML2Section::TinyXML2Section() = default;

TinyXML2Section::TinyXML2Section(std::string name, int index, int depth)
    : name_(std::move(name)), index_(index), depth_(depth) {}

TinyXML2Section::~TinyXML2Section() = default;

std::unique_ptr<TinyXML2Section> TinyXML2Section::LoadFile(const std::string& path) {
  const std::string text = ReadWholeFile(path);
  try {
    return Codec::Parse(text);
  } catch (const Exception& error) {
    throw Exception(ExceptionMessage::translate("Cannot load the file '{}'. {}") % path %
                    error.Message());
  }
}

std::unique_ptr<TinyXML2Section> TinyXML2Section::LoadString(std::string_view xml) {
  return Codec::Parse(xml);
}

void TinyXML2Section::SaveFile(const std::string& path) const {
  WriteFileAtomically(path, ToString());
}

std::string TinyXML2Section::ToString() const { return Codec::Print(*this); }

bool TinyXML2Section::HasKey(std::string_view key) const { return values_.Has(key); }

std::optional<std::string> TinyXML2Section::GetValue(std::string_view key) const {
  return values_.Get(key);
}

void TinyXML2Section::SetValue(std::string_view key, std::string_view value) {
  values_.Set(key, value);
}

bool TinyXML2Section::RemoveKey(std::string_view key) { return values_.Remove(key); }

std::vector<std::string> TinyXML2Section::GetKeys() const { return values_.Keys(); }

std::size_t TinyXML2Section::ChildKeyHash::operator()(const ChildKey& key) const noexcept {
  return std::hash<std::string_view>{}(key.first) * 31 + static_cast<std::size_t>(key.second);
}

TinyXML2Section* TinyXML2Section::FindChild(std::string_view name, int index) const {
  const auto it = child_index_.find(ChildKey(name, index));
  return it == child_index_.end() ? nullptr : it->second;
}

TinyXML2Section& TinyXML2Section::AppendChild(std::string_view name, int index) {
  children_.push_back(
      std::unique_ptr<TinyXML2Section>(new TinyXML2Section(std::string(name), index, depth_ + 1)));
  TinyXML2Section& child = *children_.back();
  child_index_.emplace(ChildKey(child.name_, index), &child);
  return child;
}

TinyXML2Section& TinyXML2Section::AddChild(std::string_view name, int index) {
  if (TinyXML2Section* existing = FindChild(name, index)) return *existing;
  KeyValueList::CheckNoNul(name);
  if (depth_ >= kMaxDepth) {
    throw Exception(ExceptionMessage::translate(
                        "The section '{}' cannot be created: sections nest at most {} levels "
                        "deep.") %
                    name % kMaxDepth);
  }
  return AppendChild(name, index);
}

bool TinyXML2Section::EraseChild(std::string_view name, int index) {
  const auto found = child_index_.find(ChildKey(name, index));
  if (found == child_index_.end()) return false;
  const TinyXML2Section* child = found->second;
  child_index_.erase(found);
  children_.erase(std::find_if(children_.begin(), children_.end(),
                               [child](const auto& held) { return held.get() == child; }));
  return true;
}

bool TinyXML2Section::HasChild(std::string_view name) const {
  return FindChild(name, 0) != nullptr;
}

ConfigurationSection* TinyXML2Section::OpenChild(std::string_view name) {
  return FindChild(name, 0);
}

const ConfigurationSection* TinyXML2Section::OpenChild(std::string_view name) const {
  return FindChild(name, 0);
}

ConfigurationSection& TinyXML2Section::CreateChild(std::string_view name) {
  return AddChild(name, 0);
}

bool TinyXML2Section::RemoveChild(std::string_view name) { return EraseChild(name, 0); }

std::vector<std::string> TinyXML2Section::GetChildNames() const {
  std::vector<std::string> names;
  for (const std::unique_ptr<TinyXML2Section>& child : children_) {
    if (child->index_ == 0) names.push_back(child->name_);
  }
  return names;
}

bool TinyXML2Section::HasChild(std::string_view name, int index) const {
  return IsChildIndex(index) && FindChild(name, index) != nullptr;
}

ConfigurationSection* TinyXML2Section::OpenChild(std::string_view name, int index) {
  return IsChildIndex(index) ? FindChild(name, index) : nullptr;
}

const ConfigurationSection* TinyXML2Section::OpenChild(std::string_view name, int index) const {
  return IsChildIndex(index) ? FindChild(name, index) : nullptr;
}

ConfigurationSection& TinyXML2Section::CreateChild(std::string_view name, int index) {
  CheckChildIndex(name, index);
  return AddChild(name, index);
}

bool TinyXML2Section::RemoveChild(std::string_view name, int index) {
  return IsChildIndex(index) && EraseChild(name, index);
}

int TinyXML2Section::CountChildren(std::string_view name) const {
  int count = 0;
  for (const std::unique_ptr<TinyXML2Section>& child : children_) {
    if (child->index_ > 0 && child->name_ == name) count = std::max(count, child->index_);
  }
  return count;
}

std::vector<int> TinyXML2Section::GetChildIndexes(std::string_view name) const {
  std::vector<int> indexes;
  for (const std::unique_ptr<TinyXML2Section>& child : children_) {
    if (child->index_ > 0 && child->name_ == name) indexes.push_back(child->index_);
  }
  std::sort(indexes.begin(), indexes.end());
  indexes.erase(std::unique(indexes.begin(), indexes.end()), indexes.end());
  return indexes;
}

}  // namespace zubra
