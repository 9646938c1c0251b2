// How models are listed, and how factors and responses are named in lists.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/base/enum_table.h"

namespace zubra {

// Three presentation choices of the analysis lists, each with code 0 meaning not set:
// how a model is listed, and whether factors and responses are named by abbreviation, by
// name or by both. The three enumerations share this class, so their enumerators carry a
// prefix; ModelList uses GetEnum/ToEnum, the presentations their own named readers.
class CModelList {
 public:
  enum ModelList : int {
    kModelListNotSet = 0,
    kTermList = 1,  // one row per model term
    kEquation = 2,  // the model written as an equation
  };

  enum FactorPresentation : int {
    kFactorPresentationNotSet = 0,
    kFactorAbbreviation = 1,
    kFactorName = 2,
    kFactorNameAndAbbreviation = 3,
  };

  enum ResponsePresentation : int {
    kResponsePresentationNotSet = 0,
    kResponseAbbreviation = 1,
    kResponseName = 2,
    kResponseNameAndAbbreviation = 3,
  };

  // Return the stored text of a choice; "" for a not-set or unknown code.
  static std::string GetString(ModelList list) {
    return std::string(kModelListTexts.ValueOf(list, ""));
  }
  static std::string GetString(FactorPresentation presentation) {
    return std::string(kFactorTexts.ValueOf(presentation, ""));
  }
  static std::string GetString(ResponsePresentation presentation) {
    return std::string(kResponseTexts.ValueOf(presentation, ""));
  }

  // Return the choice whose stored text equals `text` in any ASCII case; the not-set code for
  // any other text.
  static ModelList GetEnum(std::string_view text) {
    return kModelListTexts.CodeOf(text, kModelListNotSet);
  }
  static FactorPresentation GetFactorPresentation(std::string_view text) {
    return kFactorTexts.CodeOf(text, kFactorPresentationNotSet);
  }
  static ResponsePresentation GetResponsePresentation(std::string_view text) {
    return kResponseTexts.CodeOf(text, kResponsePresentationNotSet);
  }

  // Return the JSON string form of a choice (the stored text in lower camel case).
  static json_value ToJson(ModelList list) { return EnumTextToJson(kModelListTexts, list); }
  static json_value ToJson(FactorPresentation presentation) {
    return EnumTextToJson(kFactorTexts, presentation);
  }
  static json_value ToJson(ResponsePresentation presentation) {
    return EnumTextToJson(kResponseTexts, presentation);
  }

  // Read the JSON string form; the not-set code for a non-string or an unknown text.
  static ModelList ToEnum(const json_value& value) {
    return EnumTextFromJson(kModelListTexts, value, kModelListNotSet);
  }
  static FactorPresentation ToFactorPresentation(const json_value& value) {
    return EnumTextFromJson(kFactorTexts, value, kFactorPresentationNotSet);
  }
  static ResponsePresentation ToResponsePresentation(const json_value& value) {
    return EnumTextFromJson(kResponseTexts, value, kResponsePresentationNotSet);
  }

  static constexpr auto kModelListTexts = MakeEnumTable<ModelList>({
      {kModelListNotSet, ""},
      {kTermList, "TermList"},
      {kEquation, "Equation"},
  });

  static constexpr auto kFactorTexts = MakeEnumTable<FactorPresentation>({
      {kFactorPresentationNotSet, ""},
      {kFactorAbbreviation, "Abbreviation"},
      {kFactorName, "Name"},
      {kFactorNameAndAbbreviation, "NameAndAbbreviation"},
  });

  static constexpr auto kResponseTexts = MakeEnumTable<ResponsePresentation>({
      {kResponsePresentationNotSet, ""},
      {kResponseAbbreviation, "Abbreviation"},
      {kResponseName, "Name"},
      {kResponseNameAndAbbreviation, "NameAndAbbreviation"},
  });
};
static_assert(CModelList::kModelListTexts.IsOneToOne());
static_assert(CModelList::kFactorTexts.IsOneToOne());
static_assert(CModelList::kResponseTexts.IsOneToOne());

}  // namespace zubra
