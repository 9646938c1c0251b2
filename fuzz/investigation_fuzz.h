// Checks shared by the investigation fuzz targets: an investigation that was read writes
// itself out in each form (JSON, XML, INI), and each form reads back to an equal investigation
// with the same text dumps.
#pragma once

#include <algorithm>
#include <memory>
#include <string>

#include "fuzz/fuzz_support.h"
#include "zubra/platform/base/general_settings.h"
#include "zubra/platform/design/nc_design.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/tinyxml2_section.h"

namespace zubra::fuzz {

// Reads `read()`'s investigation, or nothing when the reader refuses it with
// zubra::Exception; anything else escapes and is a finding.
template <typename Reader>
std::unique_ptr<Investigation> ReadOrNothing(Reader read) {
  try {
    return read();
  } catch (const Exception&) {
    return nullptr;
  }
}

// What the investigation written in `form` reads back as; a written form must always read.
template <typename Section>
std::unique_ptr<Investigation> ThroughSection(const Investigation& study) {
  Section root;
  study.ToSection(root);
  const std::string text = root.ToString();
  std::unique_ptr<Investigation> again =
      ReadOrNothing([&] { return Investigation::FromSection(*Section::LoadString(text)); });
  Require(again != nullptr, "a written investigation does not read back");
  return again;
}

// The JSON form `json` as its reader gives it back: the options' reader clamps the replicate
// tolerance into its range, which the stored sections hold unchecked.
inline json_value AsJsonReadsIt(json_value json) {
  if (json.contains("options") && json["options"].contains("replicateTolerance")) {
    json_value& tolerance = json["options"]["replicateTolerance"];
    if (tolerance.is_number()) {
      tolerance = std::clamp(tolerance.get<double>(), 0.0, GeneralSettings::kMaxReplicateTolerance);
    }
  }
  return json;
}

inline void CheckReadInvestigation(const Investigation& study) {
  static_cast<void>(study.Check());
  const json_value json = study.ToJson();
  const std::string dumps = Dumps(study);

  const std::unique_ptr<Investigation> from_json =
      ReadOrNothing([&] { return Investigation::FromJson(json); });
  Require(from_json != nullptr, "a written investigation does not read back from JSON");
  Require(from_json->ToJson() == AsJsonReadsIt(json), "the JSON form reads back different");
  Require(Dumps(*from_json, true) == Dumps(study, true), "the JSON form changes the text dumps");

  const std::unique_ptr<Investigation> from_xml = ThroughSection<TinyXML2Section>(study);
  Require(from_xml->ToJson() == json, "the XML form reads back different");
  Require(Dumps(*from_xml) == dumps, "the XML form changes the text dumps");
  const std::shared_ptr<const NCDesign> design = study.GetModelSpec().GetDesign();
  const std::shared_ptr<const NCDesign> xml_design = from_xml->GetModelSpec().GetDesign();
  Require((design == nullptr) == (xml_design == nullptr) &&
              (design == nullptr || *design == *xml_design),
          "the XML form changes the generated design");

  // The INI form holds no generated design, and the JSON form never does. Its sections share
  // one name space, so it refuses, with its message, an investigation where a variable is
  // named like another section ("Term3", "Options"); the other forms hold every name.
  IniFileSection flat;
  try {
    study.ToSection(flat);
  } catch (const Exception&) {
    return;
  }
  const std::unique_ptr<Investigation> from_ini = ThroughSection<IniFileSection>(study);
  Require(from_ini->ToJson() == json, "the INI form reads back different");
  Require(Dumps(*from_ini) == dumps, "the INI form changes the text dumps");
}

}  // namespace zubra::fuzz
