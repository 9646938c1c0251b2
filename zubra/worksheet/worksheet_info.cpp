// The worksheet: experiments, run order and its randomization, stored forms, factor matrix.
#include "zubra/worksheet/worksheet_info.h"

#include <algorithm>
#include <cmath>
#include <locale>
#include <random>
#include <sstream>
#include <utility>

#include "zubra/platform/base/global_options.h"
#include "zubra/platform/design/nc_design.h"
#include "zubra/platform/util/atomic_file.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/kt_string.h"
#include "zubra/responses/response_manager.h"
#include "zubra/variables/variables.h"

namespace zubra {
namespace {

constexpr std::array<std::pair<Experiment::WorksheetColumns, const char*>, 6> kColumnNames = {{
    {Experiment::kExpNo, "ExpNo"},
    {Experiment::kCombinationID, "Combination ID"},
    {Experiment::kExpName, "ExpName"},
    {Experiment::kMoleculeNames, "Molecule Names"},
    {Experiment::kRunOrder, "RunOrder"},
    {Experiment::kInOut, "InOut"},
}};

std::string DefaultName(int exp_no) { return "N" + std::to_string(exp_no); }

// The fixed column of the whole plots, written before "RunOrder" when some experiment has one.
constexpr std::string_view kWholePlotColumn = "WholePlot";

// True for the factors whose centre defines a centre point.
bool JudgesCentre(const FactorClass& factor) {
  const CEType::EType type = factor.GetType();
  return factor.GetUse() == CEUse::kControlled &&
         (type == CEType::kQuantitative || type == CEType::kMultilevel || type == CEType::kTime);
}

}  // namespace

// ------------------------------------------------------------------ MT19937

WorksheetInfo::MersenneTwister::MersenneTwister(std::uint32_t seed) {
  state_[0] = seed;
  for (int i = 1; i < kSize; ++i) {
    const std::uint32_t previous = state_[static_cast<std::size_t>(i - 1)];
    state_[static_cast<std::size_t>(i)] =
        1812433253U * (previous ^ (previous >> 30)) + static_cast<std::uint32_t>(i);
  }
}

std::uint32_t WorksheetInfo::MersenneTwister::operator()() {
  constexpr int kShift = 397;
  constexpr std::uint32_t kMatrixA = 0x9908B0DFU;
  constexpr std::uint32_t kUpper = 0x80000000U;
  constexpr std::uint32_t kLower = 0x7FFFFFFFU;
  if (index_ >= kSize) {
    for (int i = 0; i < kSize; ++i) {
      const std::uint32_t y = (state_[static_cast<std::size_t>(i)] & kUpper) |
                              (state_[static_cast<std::size_t>((i + 1) % kSize)] & kLower);
      state_[static_cast<std::size_t>(i)] = state_[static_cast<std::size_t>((i + kShift) % kSize)] ^
                                            (y >> 1) ^ ((y & 1U) != 0 ? kMatrixA : 0U);
    }
    index_ = 0;
  }
  std::uint32_t y = state_[static_cast<std::size_t>(index_++)];
  y ^= y >> 11;
  y ^= (y << 7) & 0x9D2C5680U;
  y ^= (y << 15) & 0xEFC60000U;
  y ^= y >> 18;
  return y;
}

std::uint32_t WorksheetInfo::MersenneTwister::Uniform(std::uint32_t k) {
  if (k <= 1) return 0;
  constexpr std::uint32_t kMax = 0xFFFFFFFFU;
  for (;;) {
    const std::uint32_t r = (*this)();
    if (r / k < kMax / k || kMax % k == k - 1) return r % k;
  }
}

void WorksheetInfo::Shuffle(std::vector<int>& values, MersenneTwister& generator) {
  for (std::size_t i = 1; i < values.size(); ++i) {
    const std::uint32_t j = generator.Uniform(static_cast<std::uint32_t>(i + 1));
    std::swap(values[i], values[j]);
  }
}

std::uint32_t WorksheetInfo::NewSeed() {
  if (GlobalOptions::Instance().FixedSeedForValidation(false)) return kSeedForValidation;
  std::random_device source;
  return source();
}

// ------------------------------------------------------------------ construction

WorksheetInfo::WorksheetInfo(const Variables* variables, const ResponseManager* responses)
    : variables_(variables), responses_(responses) {}

WorksheetInfo::WorksheetInfo(const WorksheetInfo& other)
    : variables_(other.variables_),
      responses_(other.responses_),
      run_kinds_(other.run_kinds_),
      whole_plots_(other.whole_plots_),
      position_of_(other.position_of_),
      run_order_floor_(other.run_order_floor_),
      last_seed_(other.last_seed_) {
  experiments_.reserve(other.experiments_.size());
  for (const auto& experiment : other.experiments_) {
    experiments_.push_back(std::make_unique<Experiment>(*experiment));
  }
}

WorksheetInfo& WorksheetInfo::operator=(const WorksheetInfo& other) {
  if (this != &other) *this = WorksheetInfo(other);
  return *this;
}

std::string WorksheetInfo::GetDefaultColumnName(Experiment::WorksheetColumns column) {
  for (const auto& [code, name] : kColumnNames) {
    if (code == column) return name;
  }
  return {};
}

bool WorksheetInfo::GetColumnFromName(std::string_view name, Experiment::WorksheetColumns* column) {
  for (const auto& [code, text] : kColumnNames) {
    if (KtStdString::EqualsNoCase(name, text)) {
      if (column != nullptr) *column = code;
      return true;
    }
  }
  return false;
}

// ------------------------------------------------------------------ experiments

void WorksheetInfo::Reindex() {
  position_of_.clear();
  for (std::size_t p = 0; p < experiments_.size(); ++p) {
    position_of_[experiments_[p]->ExpNo()] = static_cast<int>(p + 1);
  }
}

int WorksheetInfo::NextExpNo() const {
  return position_of_.empty() ? 1 : std::max(position_of_.rbegin()->first, 0) + 1;
}

Experiment* WorksheetInfo::GetExperiment(int position) {
  if (position < 1 || position > GetExperimentCount()) return nullptr;
  return experiments_[static_cast<std::size_t>(position - 1)].get();
}

const Experiment* WorksheetInfo::GetExperiment(int position) const {
  if (position < 1 || position > GetExperimentCount()) return nullptr;
  return experiments_[static_cast<std::size_t>(position - 1)].get();
}

int WorksheetInfo::GetPosition(int exp_no) const {
  const auto found = position_of_.find(exp_no);
  return found == position_of_.end() ? 0 : found->second;
}

Experiment* WorksheetInfo::GetExperimentByNumber(int exp_no) {
  return GetExperiment(GetPosition(exp_no));
}

std::unique_ptr<Experiment> WorksheetInfo::NewExperiment(int exp_no) const {
  auto experiment = std::make_unique<Experiment>(exp_no, 0, false);
  experiment->InitEmptyExperiment(variables_, responses_);
  // Without a response manager the variable set still fixes the response cells.
  const int cells = variables_ == nullptr ? 0 : variables_->GetVariableCount();
  for (int i = experiment->GetNumValues() + 1; i <= cells; ++i) experiment->AddValue(kUndefined);
  experiment->SetExpName(DefaultName(exp_no));
  return experiment;
}

Experiment* WorksheetInfo::AddExperiment() {
  const int exp_no = NextExpNo();
  std::unique_ptr<Experiment> experiment = NewExperiment(exp_no);
  Experiment* added = experiment.get();
  InsertExperiment(std::move(experiment));
  return added;
}

bool WorksheetInfo::Append(std::unique_ptr<Experiment> experiment) {
  if (experiment->ExpNo() < 1) return false;
  const int position = GetExperimentCount() + 1;
  if (!position_of_.emplace(experiment->ExpNo(), position).second) return false;
  experiments_.push_back(std::move(experiment));
  run_kinds_.emplace_back();
  whole_plots_.push_back(0);
  return true;
}

bool WorksheetInfo::InsertExperiment(std::unique_ptr<Experiment> experiment, int position) {
  if (experiment == nullptr || experiment->ExpNo() < 1) return false;
  if (position == -1) position = GetExperimentCount() + 1;
  if (position < 1 || position > GetExperimentCount() + 1) return false;
  if (position == GetExperimentCount() + 1) return Append(std::move(experiment));
  if (GetPosition(experiment->ExpNo()) != 0) return false;
  const auto offset = static_cast<std::ptrdiff_t>(position - 1);
  experiments_.insert(experiments_.begin() + offset, std::move(experiment));
  run_kinds_.insert(run_kinds_.begin() + offset, std::string());
  whole_plots_.insert(whole_plots_.begin() + offset, 0);
  Reindex();
  return true;
}

bool WorksheetInfo::RemoveExperiment(int position) {
  if (position < 1 || position > GetExperimentCount()) return false;
  const auto offset = static_cast<std::ptrdiff_t>(position - 1);
  experiments_.erase(experiments_.begin() + offset);
  run_kinds_.erase(run_kinds_.begin() + offset);
  whole_plots_.erase(whole_plots_.begin() + offset);
  Reindex();
  return true;
}

void WorksheetInfo::Clear() {
  experiments_.clear();
  run_kinds_.clear();
  whole_plots_.clear();
  position_of_.clear();
}

void WorksheetInfo::RenumberExperiments() {
  for (std::size_t p = 0; p < experiments_.size(); ++p) {
    Experiment& experiment = *experiments_[p];
    const int exp_no = static_cast<int>(p + 1);
    if (experiment.ExpName() == DefaultName(experiment.ExpNo())) {
      experiment.SetExpName(DefaultName(exp_no));
    }
    experiment.SetExpNo(exp_no);
  }
  Reindex();
}

// ------------------------------------------------------------------ cells

int WorksheetInfo::GetCellIndex(std::string_view variable) const {
  return variables_ == nullptr ? 0 : variables_->GetSlot(variable);
}

namespace {

// True when `cell` (1-based) is the cell of a qualitative factor of `variables`.
bool IsTextCell(const Variables* variables, int cell) {
  if (variables == nullptr || cell < 1 || cell > variables->GetFactorCount()) return false;
  const FactorClass* factor = variables->GetIndexFactor(cell);
  return factor != nullptr && factor->IsQualitative();
}

// The text a number stands for in a cell that holds text: its shortest exact form, or the
// empty text for a missing number.
std::string NumberAsSetting(double value) {
  return IsUndefined(value) ? std::string() : KtString::FormatShortest(value);
}

}  // namespace

std::vector<bool> WorksheetInfo::TextCells() const {
  std::vector<bool> text;
  if (variables_ == nullptr) return text;
  text.resize(static_cast<std::size_t>(variables_->GetFactorCount()) + 1, false);
  for (int cell = 1; cell <= variables_->GetFactorCount(); ++cell) {
    text[static_cast<std::size_t>(cell)] = IsTextCell(variables_, cell);
  }
  return text;
}

bool WorksheetInfo::SetValue(int position, int cell, std::string_view text) {
  Experiment* experiment = GetExperiment(position);
  if (experiment == nullptr || cell < 1 || cell > experiment->GetNumValues()) return false;
  if (IsTextCell(variables_, cell)) {
    experiment->SetValue(cell, std::string(text).c_str());
  } else {
    experiment->SetUnformattedValue(cell, std::string(text).c_str());
  }
  return true;
}

bool WorksheetInfo::SetValue(int position, int cell, double value) {
  Experiment* experiment = GetExperiment(position);
  if (experiment == nullptr || cell < 1 || cell > experiment->GetNumValues()) return false;
  if (IsTextCell(variables_, cell)) {
    experiment->SetValue(cell, NumberAsSetting(value).c_str());
  } else {
    experiment->SetValue(cell, value);
  }
  return true;
}

bool WorksheetInfo::SetValue(int position, std::string_view variable, std::string_view text) {
  return SetValue(position, GetCellIndex(variable), text);
}

bool WorksheetInfo::SetValue(int position, std::string_view variable, double value) {
  return SetValue(position, GetCellIndex(variable), value);
}

std::string WorksheetInfo::GetStringValue(int position, std::string_view variable) const {
  const Experiment* experiment = GetExperiment(position);
  return experiment == nullptr ? std::string() : experiment->GetStringValue(GetCellIndex(variable));
}

double WorksheetInfo::GetFloatValue(int position, std::string_view variable) const {
  const Experiment* experiment = GetExperiment(position);
  return experiment == nullptr ? kUndefined : experiment->GetFloatValue(GetCellIndex(variable));
}

int WorksheetInfo::ResponseBegin() const {
  return variables_ == nullptr ? 0 : variables_->GetFactorCount() + 1;
}

bool WorksheetInfo::RunHasResponseValue(int position) const {
  const Experiment* experiment = GetExperiment(position);
  if (experiment == nullptr || variables_ == nullptr) return false;
  for (int i = ResponseBegin(); i <= experiment->GetNumValues(); ++i) {
    if (experiment->HasValue(i)) return true;
  }
  return false;
}

// ------------------------------------------------------------------ run order

bool WorksheetInfo::IsEligible(const Experiment& experiment, int position) const {
  return !experiment.IsExcluded() && !RunHasResponseValue(position) &&
         experiment.RunOrder() > run_order_floor_;
}

void WorksheetInfo::SetRunOrder(int first, int last, int start, bool randomize, bool flag,
                                std::optional<std::uint32_t> seed) {
  if (first < 1) return;
  if (last == -1) last = GetExperimentCount();
  if (first > last) {
    if (randomize) RandomizeRunOrder(first, last, flag, seed);
    return;
  }
  int counter = start == -1 ? first : start;
  for (int p = first; p <= last; ++p) {
    Experiment* experiment = GetExperiment(p);
    if (experiment != nullptr && experiment->RunOrder() == 0) experiment->SetRunOrder(counter++);
  }
  if (randomize) RandomizeRunOrder(first, last, flag, seed);
}

void WorksheetInfo::RandomizeRunOrder(int first, int last, bool flag,
                                      std::optional<std::uint32_t> seed) {
  if (first < 1) return;
  if (last == -1) last = GetExperimentCount();
  std::vector<int> numbers;
  std::vector<int> run_orders;
  for (int p = first; p <= last; ++p) {
    const Experiment* experiment = GetExperiment(p);
    if (experiment == nullptr || !IsEligible(*experiment, p)) continue;
    numbers.push_back(experiment->ExpNo());
    run_orders.push_back(experiment->RunOrder());
  }
  // One seed for the shuffle and the block cascade, so that the recorded seed alone makes
  // the whole order again.
  const std::uint32_t used = seed.has_value() ? *seed : NewSeed();
  last_seed_ = used;
  MersenneTwister generator(used);
  bool plots = false;
  for (int p = first; p <= last && !plots; ++p) {
    const Experiment* experiment = GetExperiment(p);
    plots = experiment != nullptr && IsEligible(*experiment, p) && GetWholePlot(p) > 0;
  }
  if (plots) {
    RandomizeWholePlots(first, last, generator);
    return;
  }
  Shuffle(run_orders, generator);
  for (std::size_t k = 0; k < numbers.size(); ++k) {
    if (Experiment* experiment = GetExperimentByNumber(numbers[k])) {
      experiment->SetRunOrder(run_orders[k]);
    }
  }
  if (!RandomizeBlockedRunorder("Design set", flag, used) &&
      !RandomizeBlockedRunorder("$Layer", flag, used)) {
    RandomizeBlockedRunorder("$BlockV", flag, used);
  }
}

void WorksheetInfo::RandomizeWholePlots(int first, int last, MersenneTwister& generator) {
  // The eligible experiments by whole plot, plots in order of their first position; an
  // experiment without one is a plot of its own.
  std::vector<std::vector<int>> plots;
  std::map<int, std::size_t> plot_of_number;
  std::vector<int> run_orders;
  for (int p = first; p <= last; ++p) {
    const Experiment* experiment = GetExperiment(p);
    if (experiment == nullptr || !IsEligible(*experiment, p)) continue;
    run_orders.push_back(experiment->RunOrder());
    const int plot = GetWholePlot(p);
    const auto found = plot > 0 ? plot_of_number.find(plot) : plot_of_number.end();
    if (found != plot_of_number.end()) {
      plots[found->second].push_back(p);
      continue;
    }
    if (plot > 0) plot_of_number.emplace(plot, plots.size());
    plots.push_back({p});
  }
  std::sort(run_orders.begin(), run_orders.end());
  std::vector<int> order(plots.size());
  for (std::size_t w = 0; w < plots.size(); ++w) order[w] = static_cast<int>(w);
  Shuffle(order, generator);
  std::size_t next = 0;
  for (const int w : order) {
    std::vector<int>& members = plots[static_cast<std::size_t>(w)];
    Shuffle(members, generator);
    for (const int p : members) GetExperiment(p)->SetRunOrder(run_orders[next++]);
  }
}

bool WorksheetInfo::RandomizeBlockedRunorder(const char* factor_name, bool /*flag*/,
                                             std::optional<std::uint32_t> seed) {
  if (variables_ == nullptr || factor_name == nullptr) return false;
  const int cell = variables_->GetSlot(factor_name);
  if (cell == 0) return false;
  const ResponseClass* variable = variables_->GetVariable(cell);
  const auto* factor = variable != nullptr && variable->IsA() != CEVar::kResponse
                           ? static_cast<const FactorClass*>(variable)
                           : nullptr;
  const bool qualitative = factor != nullptr && factor->IsQualitative();

  // Group key: the setting index for a qualitative factor, the cell's text otherwise.
  std::map<std::pair<int, std::string>, std::vector<int>> groups;
  for (int p = 1; p <= GetExperimentCount(); ++p) {
    const Experiment& experiment = *GetExperiment(p);
    if (!IsEligible(experiment, p)) continue;
    const std::string value = experiment.GetStringValue(cell);
    const auto key = qualitative ? std::make_pair(factor->GetSettingIndex(value), std::string())
                                 : std::make_pair(0, value);
    groups[key].push_back(p);
  }
  std::vector<std::vector<int>> ordered;
  ordered.reserve(groups.size());
  for (auto& [key, positions] : groups) ordered.push_back(std::move(positions));
  ShuffleWithinGroups(ordered, seed);
  return true;
}

bool WorksheetInfo::RandomizeBlockedRunorder(const std::vector<int>& groups, bool /*flag*/,
                                             std::optional<std::uint32_t> seed) {
  if (static_cast<int>(groups.size()) != GetExperimentCount()) return false;
  std::map<int, std::vector<int>> members;
  for (int p = 1; p <= GetExperimentCount(); ++p) {
    if (IsEligible(*GetExperiment(p), p))
      members[groups[static_cast<std::size_t>(p - 1)]].push_back(p);
  }
  std::vector<std::vector<int>> ordered;
  ordered.reserve(members.size());
  for (auto& [group, positions] : members) ordered.push_back(std::move(positions));
  ShuffleWithinGroups(ordered, seed);
  return true;
}

void WorksheetInfo::ShuffleWithinGroups(const std::vector<std::vector<int>>& groups,
                                        std::optional<std::uint32_t> seed) {
  const std::uint32_t used = seed.has_value() ? *seed : NewSeed();
  last_seed_ = used;
  MersenneTwister generator(used);
  for (const std::vector<int>& positions : groups) {
    std::vector<int> run_orders;
    run_orders.reserve(positions.size());
    for (const int p : positions) run_orders.push_back(GetExperiment(p)->RunOrder());
    Shuffle(run_orders, generator);
    for (std::size_t k = 0; k < positions.size(); ++k) {
      GetExperiment(positions[k])->SetRunOrder(run_orders[k]);
    }
  }
}

bool WorksheetInfo::IsCenterPoint(int position) const {
  const Experiment* experiment = GetExperiment(position);
  if (experiment == nullptr || variables_ == nullptr) return false;
  bool judged = false;
  for (int i = 1; i <= variables_->GetFactorCount(); ++i) {
    const FactorClass* factor = variables_->GetIndexFactor(i);
    if (factor == nullptr || !JudgesCentre(*factor)) continue;
    if (!experiment->HasValue(i) || experiment->GetValueType(i) != Run::kNumber) return false;
    const double centre = factor->GetCenterpoint(true);
    const double span = std::fabs(factor->GetHigh(true) - factor->GetLow(true));
    const double tolerance = 1e-9 * std::max(span, 1.0);
    if (std::fabs(experiment->GetFloatValue(i) - centre) > tolerance) return false;
    judged = true;
  }
  return judged;
}

bool WorksheetInfo::HasCenterPoint() const {
  for (int p = 1; p <= GetExperimentCount(); ++p) {
    if (IsCenterPoint(p)) return true;
  }
  return false;
}

bool WorksheetInfo::SetRunOrderToDetectCurvature() {
  std::vector<int> centre_positions;
  std::vector<int> other_positions;
  std::vector<int> run_orders;
  std::vector<int> eligible;
  for (int p = 1; p <= GetExperimentCount(); ++p) {
    if (IsEligible(*GetExperiment(p), p)) eligible.push_back(p);
  }
  // Present run order decides the order within each kind.
  std::stable_sort(eligible.begin(), eligible.end(), [this](int a, int b) {
    return GetExperiment(a)->RunOrder() < GetExperiment(b)->RunOrder();
  });
  for (const int p : eligible) {
    (IsCenterPoint(p) ? centre_positions : other_positions).push_back(p);
    run_orders.push_back(GetExperiment(p)->RunOrder());
  }
  const auto centres = static_cast<int>(centre_positions.size());
  const auto n = static_cast<int>(run_orders.size());
  if (centres == 0 || centres == n) return false;
  std::vector<bool> taken(static_cast<std::size_t>(n), false);
  for (int k = 0; k < centres; ++k) {
    const int rank =
        centres == 1 ? (n - 1) / 2 : (2 * k * (n - 1) + (centres - 1)) / (2 * (centres - 1));
    taken[static_cast<std::size_t>(rank)] = true;
    GetExperiment(centre_positions[static_cast<std::size_t>(k)])
        ->SetRunOrder(run_orders[static_cast<std::size_t>(rank)]);
  }
  std::size_t next = 0;
  for (int rank = 0; rank < n; ++rank) {
    if (taken[static_cast<std::size_t>(rank)]) continue;
    GetExperiment(other_positions[next++])->SetRunOrder(run_orders[static_cast<std::size_t>(rank)]);
  }
  return true;
}

// ------------------------------------------------------------------ design

void WorksheetInfo::CreateFromDesign(const NCDesign& design) {
  const int factor_columns = design.GetFactorCount();
  std::vector<int> cells;
  for (const std::string& name : design.GetFactorNames()) {
    const int slot = variables_ == nullptr ? 0 : variables_->GetSlot(name);
    if (slot == 0 || slot > variables_->GetFactorCount()) {
      throw Exception(ExceptionMessage::translate("The design factor '{}' is not in the "
                                                  "investigation.") %
                      name);
    }
    cells.push_back(slot);
  }
  std::vector<std::unique_ptr<Experiment>> made;
  std::vector<std::string> kinds;
  std::vector<int> plots(static_cast<std::size_t>(design.GetRuns()), 0);
  if (design.GetWholePlots().size() == plots.size()) plots = design.GetWholePlots();
  const NCDataMatrix<float>& uncoded = design.GetUncoded();
  for (int run = 0; run < design.GetRuns(); ++run) {
    std::unique_ptr<Experiment> experiment = NewExperiment(run + 1);
    for (int c = 0; c < factor_columns && c < static_cast<int>(cells.size()); ++c) {
      const int cell = cells[static_cast<std::size_t>(c)];
      const FactorClass* factor = variables_->GetIndexFactor(cell);
      // The design holds single-precision values: the cell takes the decimal number each
      // stands for (0.1, not 0.100000001490116).
      const float single = uncoded(run, c);
      const double value = IsUndefined(single)
                               ? kUndefined
                               : KtString::ToDouble(KtString::FormatShortest(single))
                                     .value_or(static_cast<double>(single));
      if (factor != nullptr && factor->IsQualitative()) {
        experiment->SetValue(cell,
                             factor->GetSetting(static_cast<int>(std::lround(value))).c_str());
      } else {
        experiment->SetValue(cell, value);
      }
    }
    made.push_back(std::move(experiment));
    const auto& run_kinds = design.GetRunKinds();
    kinds.emplace_back(static_cast<std::size_t>(run) < run_kinds.size()
                           ? NCDesign::GetRunKindText(run_kinds[static_cast<std::size_t>(run)])
                           : "design");
  }
  experiments_ = std::move(made);
  run_kinds_ = std::move(kinds);
  whole_plots_ = std::move(plots);
  Reindex();
}

std::string WorksheetInfo::GetRunKind(int position) const {
  if (position < 1 || position > GetExperimentCount()) return {};
  return run_kinds_[static_cast<std::size_t>(position - 1)];
}

int WorksheetInfo::GetWholePlot(int position) const {
  if (position < 1 || position > GetExperimentCount()) return 0;
  return whole_plots_[static_cast<std::size_t>(position - 1)];
}

bool WorksheetInfo::SetWholePlot(int position, int plot) {
  if (position < 1 || position > GetExperimentCount() || plot < 0) return false;
  whole_plots_[static_cast<std::size_t>(position - 1)] = plot;
  return true;
}

bool WorksheetInfo::HasWholePlots() const {
  return std::any_of(whole_plots_.begin(), whole_plots_.end(), [](int plot) { return plot > 0; });
}

// ------------------------------------------------------------------ factor matrix

FMatrix WorksheetInfo::GetFactorMatrix(bool coded) const {
  if (variables_ == nullptr) return {GetExperimentCount(), 0};
  const int columns = variables_->GetExpandedFactorCount();
  FMatrix matrix(GetExperimentCount(), columns, static_cast<float>(kUndefined));
  for (int p = 1; p <= GetExperimentCount(); ++p) {
    const Experiment& experiment = *GetExperiment(p);
    std::vector<float> row(static_cast<std::size_t>(columns), static_cast<float>(kUndefined));
    int position = 0;
    for (int i = 1; i <= variables_->GetFactorCount(); ++i) {
      const FactorClass* factor = variables_->GetIndexFactor(i);
      if (factor == nullptr) continue;
      if (factor->IsQualitative()) {
        factor->SetExpandedSettings(row.data(), experiment.GetStringValue(i).c_str(), position,
                                    variables_, true);
        continue;
      }
      double value = experiment.HasValue(i) && experiment.GetValueType(i) == Run::kNumber
                         ? experiment.GetFloatValue(i)
                         : kUndefined;
      if (coded) {
        if (value != kUndefined) value = factor->GetNormalizedFromPoint(value, true);
        row[static_cast<std::size_t>(position++)] = static_cast<float>(value);
      } else {
        factor->SetExpandedSettings(row.data(), value, position, variables_);
      }
    }
    for (int c = 1; c <= columns; ++c) matrix(p, c) = row[static_cast<std::size_t>(c - 1)];
  }
  return matrix;
}

// ------------------------------------------------------------------ stored forms

std::vector<std::string> WorksheetInfo::CellNames() const {
  std::vector<std::string> names;
  if (variables_ == nullptr) return names;
  for (int slot = 1; slot <= variables_->GetVariableCount(); ++slot) {
    names.push_back(variables_->GetVariable(slot)->GetName());
  }
  return names;
}

std::string WorksheetInfo::ToText() const {
  const bool any_combination =
      std::any_of(experiments_.begin(), experiments_.end(),
                  [](const auto& e) { return !e->GetCombinationID().empty(); });
  const bool any_molecule = std::any_of(experiments_.begin(), experiments_.end(),
                                        [](const auto& e) { return e->UseMolName(); });
  std::vector<Experiment::WorksheetColumns> columns = {Experiment::kExpNo};
  if (any_combination) columns.push_back(Experiment::kCombinationID);
  columns.push_back(any_molecule ? Experiment::kMoleculeNames : Experiment::kExpName);
  columns.push_back(Experiment::kRunOrder);
  columns.push_back(Experiment::kInOut);
  const bool any_plot = HasWholePlots();

  std::ostringstream out;
  out.imbue(std::locale::classic());
  for (const auto column : columns) {
    if (any_plot && column == Experiment::kRunOrder) out << kWholePlotColumn << '\t';
    out << GetDefaultColumnName(column) << '\t';
  }
  bool first = true;
  for (const std::string& name : CellNames()) {
    out << (first ? "" : "\t") << name;
    first = false;
  }
  out << '\n';
  for (std::size_t p = 0; p < experiments_.size(); ++p) {
    const auto& experiment = experiments_[p];
    out << experiment->ExpNo() << '\t';
    if (any_combination) out << experiment->GetCombinationID() << '\t';
    out << (any_molecule ? experiment->MolName() : experiment->ExpName()) << '\t';
    if (any_plot) out << whole_plots_[p] << '\t';
    out << experiment->RunOrder() << '\t' << (experiment->IsExcluded() ? "Out" : "In") << '\t';
    // The cells as Run::Write lays them out, numbers in the shortest form that reads back
    // exactly (0.1, not 0.10000000000000001): a worksheet is read by people too, and the
    // shortest form is several times faster to print than 17 significant digits.
    for (int i = 1; i <= experiment->GetNumValues(); ++i) {
      if (i > 1) out << '\t';
      if (experiment->GetValueType(i) == Run::kText) {
        out << experiment->GetStringValue(i);
      } else if (experiment->GetValueType(i) == Run::kNumber && experiment->HasValue(i)) {
        out << KtString::FormatShortest(experiment->GetFloatValue(i));
      }
    }
    out << '\n';
  }
  return out.str();
}

bool WorksheetInfo::FromText(std::string_view text, std::string* message) {
  auto fail = [message](std::string why) {
    if (message != nullptr) *message = std::move(why);
    return false;
  };
  if (text.empty()) return fail("The worksheet file is empty.");
  // Cells hold UTF-8 text, as the JSON form must: bytes that are not are read as U+FFFD.
  std::string repaired;
  if (!KtStdString::IsValidUtf8(text)) {
    repaired = KtStdString::RepairUtf8(text);
    text = repaired;
  }
  // Lines end at LF; a CR before it is dropped. A last line without LF still counts.
  std::size_t next_line = 0;
  const auto read_line = [&text, &next_line](std::string_view& line) {
    if (next_line >= text.size()) return false;
    const std::size_t end = std::min(text.find('\n', next_line), text.size());
    line = text.substr(next_line, end - next_line);
    next_line = end + 1;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    return true;
  };
  std::string_view header;
  read_line(header);
  const std::vector<std::string> names = KtStdString::Split(header, '\t');

  std::vector<Experiment::WorksheetColumns> columns;
  std::optional<std::size_t> plot_token;  // the token of the whole plots, among the fixed ones
  std::size_t k = 0;
  for (; k < names.size(); ++k) {
    Experiment::WorksheetColumns column{};
    if (!plot_token && KtStdString::EqualsNoCase(names[k], kWholePlotColumn)) {
      plot_token = k;
      continue;
    }
    if (!GetColumnFromName(names[k], &column)) break;
    columns.push_back(column);
    if (column == Experiment::kInOut) {
      ++k;
      break;
    }
  }
  if (std::find(columns.begin(), columns.end(), Experiment::kExpNo) == columns.end()) {
    return fail("The worksheet file has no ExpNo column.");
  }
  // Cell of each variable column of the file; 0 for names the variable set lacks.
  std::vector<int> cell_of;
  for (; k < names.size(); ++k) cell_of.push_back(GetCellIndex(names[k]));

  // Every row starts as a copy of one empty row: fixed fields at their defaults, every cell
  // missing. A fixed field the file lacks keeps its default (an absent ExpName is empty).
  std::unique_ptr<Experiment> empty_row = NewExperiment(0);
  empty_row->SetExpName("");
  const std::vector<bool> text_cells = TextCells();
  WorksheetInfo read(variables_, responses_);
  read.run_order_floor_ = run_order_floor_;
  std::string_view line;
  int line_number = 1;
  while (read_line(line)) {
    ++line_number;
    if (line.find_first_not_of(" \t\n\v\f\r") == std::string_view::npos) continue;
    std::vector<std::string> tokens = KtStdString::Split(line, '\t');
    int plot = 0;
    if (plot_token) {
      const std::optional<int> number =
          *plot_token < tokens.size() ? KtString::ToInt(tokens[*plot_token]) : std::nullopt;
      if (!number || *number < 0) {
        return fail("Line " + std::to_string(line_number) +
                    " of the worksheet file cannot be read.");
      }
      plot = *number;
      tokens.erase(tokens.begin() + static_cast<std::ptrdiff_t>(*plot_token));
    }
    auto experiment = std::make_unique<Experiment>(*empty_row);
    const std::optional<std::size_t> first_cell = experiment->ReadFixedFields(tokens, columns);
    if (!first_cell) {
      return fail("Line " + std::to_string(line_number) + " of the worksheet file cannot be read.");
    }
    // Cells of the file's variable columns go to the cells of those variables, read as
    // Run::SetUnformattedValue reads them; columns the set lacks and absent tokens are skipped.
    // An empty field leaves its cell missing the way a new experiment has it (the empty text
    // for a qualitative factor), so that both stored forms agree on a missing value. A field
    // is read up to a NUL byte, so one that starts with NUL counts as empty. Carriage returns
    // that end a field are dropped, as at the end of a line: a cell written with one would
    // end its line in CR LF when it is the last, and lose it on reading.
    // The cell of a qualitative factor takes the field as text, number-like or not.
    const std::size_t cells = std::min(cell_of.size(), tokens.size() - *first_cell);
    for (std::size_t c = 0; c < cells; ++c) {
      std::string_view field = tokens[*first_cell + c];
      field = field.substr(0, field.find('\0'));
      while (!field.empty() && field.back() == '\r') field.remove_suffix(1);
      const int cell = cell_of[c];
      if (cell == 0 || field.empty()) continue;
      if (static_cast<std::size_t>(cell) < text_cells.size() &&
          text_cells[static_cast<std::size_t>(cell)]) {
        experiment->SetValue(cell, std::string(field).c_str());
      } else {
        experiment->SetUnformattedValue(cell, std::string(field).c_str());
      }
    }
    const int exp_no = experiment->ExpNo();
    if (!read.Append(std::move(experiment))) {
      return fail("Experiment number " + std::to_string(exp_no) + " is repeated or invalid.");
    }
    read.whole_plots_.back() = plot;
  }
  *this = std::move(read);
  if (message != nullptr) message->clear();
  return true;
}

void WorksheetInfo::WriteFile(const std::string& path) const {
  WriteFileAtomically(path, ToText());
}

bool WorksheetInfo::ReadFile(const std::string& path, std::string* message) {
  std::string text;
  try {
    text = ReadWholeFile(path);
  } catch (const Exception& error) {
    if (message != nullptr) *message = error.what();
    return false;
  }
  return FromText(text, message);
}

json_value WorksheetInfo::ToJson() const {
  const bool any_molecule = std::any_of(experiments_.begin(), experiments_.end(),
                                        [](const auto& e) { return e->UseMolName(); });
  json_value columns = json_value::array();
  for (const auto column : Experiment::GetJsonColumns(any_molecule)) {
    columns.push_back(GetDefaultColumnName(column));
  }
  json_value value_index = json_value::array();
  const std::vector<std::string> names = CellNames();
  for (std::size_t i = 0; i < names.size(); ++i) {
    columns.push_back(names[i]);
    value_index.push_back(static_cast<int>(i));
  }
  json_value rows = json_value::array();
  for (const auto& experiment : experiments_) {
    if (experiment->UseMolName() == any_molecule) {
      rows.push_back(experiment->ToJson());
    } else {
      // Keep one column layout: write this row as if it used the common naming.
      Experiment copy = *experiment;
      copy.SetUseMolName(any_molecule);
      rows.push_back(copy.ToJson());
    }
  }
  json_value out = json_value::object();
  out["columns"] = std::move(columns);
  out["valueIndex"] = std::move(value_index);
  out["rows"] = std::move(rows);
  out["runOrderFloor"] = run_order_floor_;
  if (HasWholePlots()) out["wholePlots"] = whole_plots_;
  return out;
}

void WorksheetInfo::FromJson(const json_value& json) {
  const json_value* columns = FindMember(json, "columns");
  const json_value* rows = FindMember(json, "rows");
  if (columns == nullptr || !columns->is_array() || rows == nullptr || !rows->is_array()) {
    throw Exception(ExceptionMessage::translate(
        "Parse error: a worksheet needs the arrays 'columns' and 'rows'."));
  }
  std::vector<Experiment::WorksheetColumns> fixed;
  std::vector<int> value_index;
  bool in_fixed = true;
  for (const json_value& name : *columns) {
    if (!name.is_string()) {
      throw Exception(ExceptionMessage::translate("Parse error: a column name must be a string."));
    }
    const auto& text = name.get_ref<const std::string&>();
    Experiment::WorksheetColumns column{};
    if (in_fixed && GetColumnFromName(text, &column)) {
      fixed.push_back(column);
      if (column == Experiment::kInOut) in_fixed = false;
      continue;
    }
    in_fixed = false;
    value_index.push_back(GetCellIndex(text) - 1);
  }
  if (std::find(fixed.begin(), fixed.end(), Experiment::kExpNo) == fixed.end()) {
    throw Exception(ExceptionMessage::translate("Parse error: a worksheet needs an ExpNo column."));
  }
  WorksheetInfo read(variables_, responses_);
  read.run_order_floor_ = run_order_floor_;
  if (const json_value* floor = FindMember(json, "runOrderFloor")) {
    if (!IsInteger(*floor)) {
      throw Exception(
          ExceptionMessage::translate("Parse error: the run-order floor must be an int."));
    }
    read.run_order_floor_ = floor->get<int>();
  }
  // Every row starts as a copy of one empty row (see FromText).
  std::unique_ptr<Experiment> empty_row = NewExperiment(0);
  empty_row->SetExpName("");
  read.experiments_.reserve(rows->size());
  read.run_kinds_.reserve(rows->size());
  // Cells are read as SetValue takes them: a number in the cell of a qualitative factor as
  // its text, a string elsewhere as user text (a number when it reads as one, missing when
  // empty), so that the text form, which cannot tell "2" from 2, reads back the same.
  const std::vector<bool> text_cells = TextCells();
  for (const json_value& row : *rows) {
    auto experiment = std::make_unique<Experiment>(*empty_row);
    experiment->FromJson(row, fixed, value_index);
    for (int i = 1; i <= experiment->GetNumValues(); ++i) {
      const bool text_cell =
          static_cast<std::size_t>(i) < text_cells.size() && text_cells[static_cast<std::size_t>(i)];
      const Run::ValueType type = experiment->GetValueType(i);
      if (text_cell && type == Run::kNumber) {
        experiment->SetValue(i, NumberAsSetting(experiment->GetFloatValue(i)).c_str());
      } else if (!text_cell && type == Run::kText) {
        experiment->SetUnformattedValue(i, experiment->GetStringValue(i).c_str());
      }
    }
    const int exp_no = experiment->ExpNo();
    if (!read.Append(std::move(experiment))) {
      throw Exception(
          ExceptionMessage::translate("Parse error: experiment number {} is repeated or invalid.") %
          exp_no);
    }
  }
  if (const json_value* plots = FindMember(json, "wholePlots")) {
    const auto bad = [] {
      throw Exception(ExceptionMessage::translate(
          "Parse error: 'wholePlots' must hold one whole number of 0 or more per row."));
    };
    if (!plots->is_array() || plots->size() != rows->size()) bad();
    for (std::size_t p = 0; p < plots->size(); ++p) {
      const json_value& plot = (*plots)[p];
      if (!IsInteger(plot) || plot.get<std::int64_t>() < 0 ||
          plot.get<std::int64_t>() > 2147483647LL) {
        bad();
      }
      read.whole_plots_[p] = static_cast<int>(plot.get<std::int64_t>());
    }
  }
  *this = std::move(read);
}

}  // namespace zubra
