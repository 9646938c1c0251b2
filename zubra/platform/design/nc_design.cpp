#include "zubra/platform/design/nc_design.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace zubra {

NCDesign::NCDesign(EDesign::Type type, std::string name, std::vector<std::string> factor_names,
                   NCDataMatrix<float> coded, NCDataMatrix<float> uncoded, std::vector<int> blocks,
                   std::vector<RunKind> kinds, Generators generators)
    : type_(type),
      name_(std::move(name)),
      factor_names_(std::move(factor_names)),
      coded_(std::move(coded)),
      uncoded_(std::move(uncoded)),
      blocks_(std::move(blocks)),
      kinds_(std::move(kinds)),
      generators_(std::move(generators)) {
  assert(uncoded_.GetRows() == coded_.GetRows() && uncoded_.GetCols() == coded_.GetCols());
  assert(static_cast<int>(blocks_.size()) == coded_.GetRows());
  assert(static_cast<int>(kinds_.size()) == coded_.GetRows());
  assert(static_cast<int>(factor_names_.size()) == coded_.GetCols());
}

int NCDesign::GetBlockCount() const {
  return blocks_.empty() ? 0 : *std::max_element(blocks_.begin(), blocks_.end());
}

int NCDesign::CountRuns(RunKind kind) const {
  return static_cast<int>(std::count(kinds_.begin(), kinds_.end(), kind));
}

}  // namespace zubra
