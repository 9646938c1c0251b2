// Checks shared by the worksheet fuzz targets: a worksheet that was read writes itself out in
// both stored forms, and each form reads back to the same worksheet.
#pragma once

#include <string>

#include "fuzz/fuzz_support.h"
#include "zubra/worksheet/worksheet_info.h"

namespace zubra::fuzz {

// A worksheet over the fixture's variables with two experiments, so that a refusal has
// something to leave alone.
inline WorksheetInfo StartingWorksheet() {
  WorksheetInfo sheet(&Fixture().GetVariables(), &Fixture().GetResponses());
  for (int i = 1; i <= 2; ++i) {
    sheet.AddExperiment();
    sheet.SetValue(i, "Temperature", 20.0 * i);
    sheet.SetValue(i, "Catalyst", i == 1 ? "A" : "C");
    sheet.SetValue(i, "Yield", 0.5 + i);
  }
  sheet.SetRunOrder(1, -1, -1, false, false);
  return sheet;
}

// Both stored forms of `sheet`, for comparisons.
inline std::string Forms(const WorksheetInfo& sheet) {
  return DumpJson(sheet.ToJson()) + '\n' + sheet.ToText();
}

// Uses what was read as the analysis would, then checks that the JSON form and the text form
// both carry it unchanged.
inline void CheckReadWorksheet(const WorksheetInfo& sheet) {
  static_cast<void>(sheet.GetFactorMatrix(true));
  static_cast<void>(sheet.HasCenterPoint());

  const json_value json = sheet.ToJson();
  WorksheetInfo from_json(&Fixture().GetVariables(), &Fixture().GetResponses());
  try {
    from_json.FromJson(json);
  } catch (const Exception&) {
    Require(false, "a written worksheet does not read as JSON");
  }
  Require(from_json.ToJson() == json, "a written worksheet reads back different from JSON");

  const std::string text = sheet.ToText();
  WorksheetInfo from_text(&Fixture().GetVariables(), &Fixture().GetResponses());
  from_text.SetRunOrderFloor(sheet.GetRunOrderFloor());
  std::string message;
  Require(text.empty() || from_text.FromText(text, &message),
          "a written worksheet does not read as text");
  Require(from_text.ToText() == text, "a written worksheet reads back different from text");
}

}  // namespace zubra::fuzz
