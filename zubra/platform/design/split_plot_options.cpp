#include "zubra/platform/design/split_plot_options.h"

#include <string>

#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"

namespace zubra {
namespace {

void CheckCount(int value, int minimum, std::string_view key) {
  if (value < minimum) {
    throw Exception(ExceptionMessage::translate("The value '%1%' of the key '%2%' is not a "
                                                "valid %3%.") %
                    value % key % "count");
  }
}

}  // namespace

std::unique_ptr<DesignSpecificOptions> SplitPlotOptions::Clone() const {
  return std::make_unique<SplitPlotOptions>(*this);
}

void SplitPlotOptions::Save(ConfigurationSection& section) const {
  section.WriteString("HorizontalFactors", JoinInts(horizontal_.factors));
  section.WriteString("VerticalFactors", JoinInts(vertical_.factors));
  section.WriteString("HorizontalModel", EModel::GetString(horizontal_.model));
  section.WriteString("VerticalModel", EModel::GetString(vertical_.model));
  section.WriteInt("HorizontalRuns", horizontal_.runs);
  section.WriteInt("VerticalRuns", vertical_.runs);
  section.WriteInt("Num.Plates", plates_);
  section.WriteInt("PlateSize", plate_size_);
  section.WriteBool("UsePlateFactors", use_plate_factors_);
  section.WriteBool("AddBlockFactor", add_block_factor_);
  section.WriteBool("AddPlateInteractions", add_plate_interactions_);
}

void SplitPlotOptions::Load(const ConfigurationSection& section) {
  SplitPlotOptions read = *this;
  std::string text;
  if (section.ReadString("HorizontalFactors", text)) {
    read.horizontal_.factors = ParseInts(text, "HorizontalFactors");
  }
  if (section.ReadString("VerticalFactors", text)) {
    read.vertical_.factors = ParseInts(text, "VerticalFactors");
  }
  for (const auto* side : {&read.horizontal_.factors, &read.vertical_.factors}) {
    for (int index : *side) CheckCount(index, 0, "Factors");
  }
  ReadModel(section, "HorizontalModel", read.horizontal_.model);
  ReadModel(section, "VerticalModel", read.vertical_.model);
  if (section.ReadInt("HorizontalRuns", read.horizontal_.runs)) {
    CheckCount(read.horizontal_.runs, 0, "HorizontalRuns");
  }
  if (section.ReadInt("VerticalRuns", read.vertical_.runs)) {
    CheckCount(read.vertical_.runs, 0, "VerticalRuns");
  }
  if (section.ReadInt("Num.Plates", read.plates_)) CheckCount(read.plates_, 1, "Num.Plates");
  if (section.ReadInt("PlateSize", read.plate_size_)) CheckCount(read.plate_size_, 1, "PlateSize");
  section.ReadBool("UsePlateFactors", read.use_plate_factors_);
  section.ReadBool("AddBlockFactor", read.add_block_factor_);
  section.ReadBool("AddPlateInteractions", read.add_plate_interactions_);
  *this = read;
}

bool SplitPlotOptions::Equals(const DesignSpecificOptions& other) const {
  const auto* same = dynamic_cast<const SplitPlotOptions*>(&other);
  return same != nullptr && same->horizontal_ == horizontal_ && same->vertical_ == vertical_ &&
         same->plates_ == plates_ && same->plate_size_ == plate_size_ &&
         same->use_plate_factors_ == use_plate_factors_ &&
         same->add_block_factor_ == add_block_factor_ &&
         same->add_plate_interactions_ == add_plate_interactions_;
}

}  // namespace zubra
