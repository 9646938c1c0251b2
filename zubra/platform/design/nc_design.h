// NCDesign: a generated design, as the design engine hands it over.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "zubra/platform/design/e_design.h"
#include "zubra/platform/design/generators.h"
#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra {

class ConfigurationSection;

// The runs of one design, one row per run and one column per factor (in the order of the
// Factors it was built for), in two forms:
//   - coded: process factors scaled to -1..+1 over their range (a multilevel factor's levels
//     mapped linearly, a two-level design's settings are exactly -1 and +1), qualitative
//     factors as the 1-based number of their setting, mixture factors as pseudo-components
//     (fractions of the free part of the mixture, summing to 1 in every run);
//   - uncoded: the factors' own values (a qualitative factor again as its setting number;
//     mixture factors as amounts summing to the mixture total).
// Factors that are not varied are 0 in the coded form; in the uncoded form a constant factor
// is the middle of its range and an uncontrolled one the undefined value -99.
//
// Each run also has a 1-based block number and a kind (a run of the design proper, an axial
// run of a composite design, a centre point, a replicate). The generators are those of a
// two-level fractional or blocked factorial, empty for other designs. A split-plot design
// gives every run the 1-based number of its whole plot (the runs of a whole plot share the
// settings of the hard-to-change factors and are run together); other designs have none.
class NCDesign {
 public:
  enum class RunKind { kDesign, kAxial, kCenter, kReplicate };
  // The kind's name as the worksheet and the Python module show it: "design", "axial",
  // "center" or "replicate".
  [[nodiscard]] static const char* GetRunKindText(RunKind kind);

  NCDesign(EDesign::Type type, std::string name, std::vector<std::string> factor_names,
           NCDataMatrix<float> coded, NCDataMatrix<float> uncoded, std::vector<int> blocks,
           std::vector<RunKind> kinds, Generators generators, std::vector<int> whole_plots = {});

  [[nodiscard]] EDesign::Type GetType() const { return type_; }
  [[nodiscard]] const std::string& GetName() const { return name_; }
  [[nodiscard]] int GetRuns() const { return coded_.GetRows(); }
  [[nodiscard]] int GetFactorCount() const { return coded_.GetCols(); }
  [[nodiscard]] const std::vector<std::string>& GetFactorNames() const { return factor_names_; }
  [[nodiscard]] const NCDataMatrix<float>& GetCoded() const { return coded_; }
  [[nodiscard]] const NCDataMatrix<float>& GetUncoded() const { return uncoded_; }
  // The coded or the uncoded matrix.
  [[nodiscard]] const NCDataMatrix<float>& GetMatrix(bool coded) const {
    return coded ? coded_ : uncoded_;
  }
  // The 1-based block of each run.
  [[nodiscard]] const std::vector<int>& GetBlocks() const { return blocks_; }
  [[nodiscard]] int GetBlockCount() const;
  [[nodiscard]] const std::vector<RunKind>& GetRunKinds() const { return kinds_; }
  [[nodiscard]] int CountRuns(RunKind kind) const;
  [[nodiscard]] const Generators& GetGenerators() const { return generators_; }
  // The 1-based whole plot of each run; empty for a design without whole plots.
  [[nodiscard]] const std::vector<int>& GetWholePlots() const { return whole_plots_; }

  // Writes the design into `section`: "Type" (the type's text), "Name", "Factors" and "Runs"
  // (counts), "Factor1".."FactorK" (the names), "Run1".."RunN" (each "block;kind;coded
  // values;uncoded values", kinds D, A, C, R for design, axial, centre and replicate runs,
  // values separated by commas in their shortest exact form), "WholePlots" (the runs' whole
  // plots separated by commas, only for a design that has them) and a child "Generators"
  // when there are generators. Keys and children written earlier by this function are
  // replaced.
  void Save(ConfigurationSection& section) const;
  // Reads what Save wrote. Throws Exception with the system's message when a key is missing
  // or malformed, the counts do not match the keys present, or a value does not read.
  static std::unique_ptr<NCDesign> Load(const ConfigurationSection& section);

  [[nodiscard]] bool operator==(const NCDesign& other) const;

 private:
  EDesign::Type type_;
  std::string name_;
  std::vector<std::string> factor_names_;
  NCDataMatrix<float> coded_;
  NCDataMatrix<float> uncoded_;
  std::vector<int> blocks_;
  std::vector<RunKind> kinds_;
  Generators generators_;
  std::vector<int> whole_plots_;
};

}  // namespace zubra
