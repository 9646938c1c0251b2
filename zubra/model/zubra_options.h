// ZubraOptions: the investigation-wide analysis and presentation options, with their stored
// forms and the repair that keeps them valid.
#pragma once

#include <string>
#include <string_view>

#include "zubra/platform/base/c_alpha_lev.h"
#include "zubra/platform/base/c_coeff.h"
#include "zubra/platform/base/c_coeff_list.h"
#include "zubra/platform/base/c_conf_lev.h"
#include "zubra/platform/base/c_interval_type.h"
#include "zubra/platform/base/c_model_list.h"
#include "zubra/platform/base/c_number_format.h"
#include "zubra/platform/base/c_resid.h"
#include "zubra/platform/base/cr2_opt.h"
#include "zubra/platform/base/label_types.h"
#include "zubra/platform/util/json.h"

namespace zubra {

class ConfigurationSection;
class ModelSpec;

// The options every analysis of the investigation reads: the replicate tolerance, the power
// of power analysis, which coefficients, residuals, confidence and tolerance levels are
// reported, how models, factors and responses are listed, the number format, the selected
// variable, the plot label type, whether the design matrix comes from the worksheet, the
// interval type and two fitting switches. A plain value (copyable and movable).
//
// Defaults: replicate tolerance from GeneralSettings; power 0.8; R2 option 1, coefficients 1,
// residuals 3, confidence level, tolerance proportion and alpha level 2, coefficient list 2,
// model list, factor and response presentation, number format and plot label type 1; interval
// type 1 (confidence); design matrix from worksheet true; the two fitting switches false; no
// selected variable.
//
// Repair (MakeSureOptionsAreAvailable): every enumeration still 0 ("not set") takes its
// default; a power outside 0..1 becomes 0.8; with a model specification, "design matrix from
// worksheet" is switched on when a design is chosen but none is generated, and the coefficient
// list becomes 2 when any factor is qualitative and 1 otherwise (overriding a stored value).
//
// Stored forms: the configuration keys "ReplicateTolerance", "Power", "R2", "Coeff",
// "DefResid", "ConfLev", "TolProp", "AlphaLev", "CoeffList", "ModelList",
// "FactorPresentation", "ResponsePresentation", "NumberFormat", "Variable", "PlotLabelType",
// "DesignMatrixFromWorksheet", "IntervalType", "UseResCorrelationinFaliureProbability" (spelled
// so: files carry it) and "FitEqualPLSModelsInOneBigModel"; the JSON members "alphaLevel",
// "coefficients", "confidenceLevel", "toleranceProportion", "intervalType", "power",
// "replicateTolerance", "residuals", "r2".
class ZubraOptions {
 public:
  static constexpr double kDefaultPower = 0.8;

  // Every option at its default, then the repair step without a model specification.
  ZubraOptions();
  // The defaults, then LoadOptions(section).
  explicit ZubraOptions(const ConfigurationSection& section);

  [[nodiscard]] double GetReplicateTolerance() const { return replicate_tolerance_; }
  // Accepts 0 <= tolerance <= 0.2; otherwise throws Exception "The replicate tolerance should
  // be between 0 and 0.2." and keeps the value.
  void SetReplicateTolerance(double tolerance);
  [[nodiscard]] double GetPower() const { return power_; }
  // Stores `power` unchecked (the repair step corrects it); true when it differed.
  bool SetPower(double power);

  // The enumeration and bool setters store the value and return true when it differed.
  [[nodiscard]] CR2Opt::R2Opt GetR2Opt() const { return r2_; }
  bool SetR2Opt(CR2Opt::R2Opt value) { return Store(r2_, value); }
  [[nodiscard]] CCoeff::Coeff GetCoeff() const { return coeff_; }
  bool SetCoeff(CCoeff::Coeff value) { return Store(coeff_, value); }
  [[nodiscard]] CResid::Resid GetResid() const { return resid_; }
  bool SetResid(CResid::Resid value) { return Store(resid_, value); }
  [[nodiscard]] CConfLev::ConfLev GetConfLev() const { return conf_lev_; }
  bool SetConfLev(CConfLev::ConfLev value) { return Store(conf_lev_, value); }
  [[nodiscard]] CConfLev::ConfLev GetTolProp() const { return tol_prop_; }
  bool SetTolProp(CConfLev::ConfLev value) { return Store(tol_prop_, value); }
  [[nodiscard]] CAlphaLev::AlphaLev GetAlphaLev() const { return alpha_lev_; }
  bool SetAlphaLev(CAlphaLev::AlphaLev value) { return Store(alpha_lev_, value); }
  [[nodiscard]] CCoeffList::CoeffList GetCoeffList() const { return coeff_list_; }
  bool SetCoeffList(CCoeffList::CoeffList value) { return Store(coeff_list_, value); }
  [[nodiscard]] CModelList::ModelList GetModelList() const { return model_list_; }
  bool SetModelList(CModelList::ModelList value) { return Store(model_list_, value); }
  [[nodiscard]] CModelList::FactorPresentation GetFactorPresentation() const {
    return factor_presentation_;
  }
  bool SetFactorPresentation(CModelList::FactorPresentation value) {
    return Store(factor_presentation_, value);
  }
  [[nodiscard]] CModelList::ResponsePresentation GetResponsePresentation() const {
    return response_presentation_;
  }
  bool SetResponsePresentation(CModelList::ResponsePresentation value) {
    return Store(response_presentation_, value);
  }
  [[nodiscard]] CNumberFormat::NumberFormat GetNumberFormatW() const { return number_format_; }
  bool SetNumberFormat(CNumberFormat::NumberFormat value) { return Store(number_format_, value); }
  [[nodiscard]] CIntervalType::IntervalType GetIntervalType() const { return interval_type_; }
  [[nodiscard]] bool GetUseResCorrelationinFaliureProbability() const {
    return use_res_correlation_ != 0;
  }
  [[nodiscard]] const std::string& GetSelectedVariable() const { return selected_variable_; }
  // False when `name` equals the current selection; otherwise stores it and returns true.
  bool SetSelectedVariable(std::string_view name);
  [[nodiscard]] bool GetDesignMatrixFromWorksheet() const { return design_matrix_from_worksheet_; }
  bool SetDesignMatrixFromWorksheet(bool value) {
    return Store(design_matrix_from_worksheet_, value);
  }
  [[nodiscard]] bool GetFitEqualPLSModelsInOneBigModel() const { return fit_equal_pls_ != 0; }
  bool SetFitEqualPLSModelsInOneBigModel(bool value) {
    return Store(fit_equal_pls_, static_cast<int>(value));
  }
  [[nodiscard]] LabelTypes::PlotLabelType GetPlotLabelType() const { return plot_label_type_; }
  void SetPlotLabelType(LabelTypes::PlotLabelType value) { plot_label_type_ = value; }

  // Writes every configuration key, in the order of the class comment; enumerations as their
  // texts.
  void SaveOptions(ConfigurationSection& section) const;
  // Reads each key that is present (an absent key keeps its option), then repairs. Kept from
  // older files: an absent or empty "PlotLabelType" gives label type 1; without
  // "IntervalType", "IndividualPredictionError" is read ("yes" exactly gives the prediction
  // interval, any other text the confidence interval); "FitEqualPLSModelsInOneBigModel" is read
  // only beside "UseResCorrelationinFaliureProbability" and is true when missing there. A
  // number that does not read keeps its option (files of other locales); nothing throws.
  void LoadOptions(const ConfigurationSection& section);
  // The JSON members of the class comment: levels as numbers, power and tolerance as numbers,
  // the others as their JSON texts.
  [[nodiscard]] json_value ToJson() const;
  // Reads each member that is present. "power" must be a number in 0..1, else Exception
  // "Illegal power value."; "replicateTolerance" is clamped into 0..0.2. A member of the wrong
  // type reads as "not set" and is repaired. On an exception nothing is changed.
  void FromJson(const json_value& json);

  // The repair step (see the class comment); `spec` may be null.
  void MakeSureOptionsAreAvailable(const ModelSpec* spec);

  bool operator==(const ZubraOptions&) const = default;

 private:
  template <typename T>
  static bool Store(T& field, T value) {
    if (field == value) return false;
    field = value;
    return true;
  }

  double replicate_tolerance_;
  double power_ = kDefaultPower;
  CR2Opt::R2Opt r2_ = static_cast<CR2Opt::R2Opt>(1);
  CCoeff::Coeff coeff_ = static_cast<CCoeff::Coeff>(1);
  CResid::Resid resid_ = static_cast<CResid::Resid>(3);
  CConfLev::ConfLev conf_lev_ = static_cast<CConfLev::ConfLev>(2);
  CConfLev::ConfLev tol_prop_ = static_cast<CConfLev::ConfLev>(2);
  CAlphaLev::AlphaLev alpha_lev_ = static_cast<CAlphaLev::AlphaLev>(2);
  CCoeffList::CoeffList coeff_list_ = static_cast<CCoeffList::CoeffList>(2);
  CModelList::ModelList model_list_ = static_cast<CModelList::ModelList>(1);
  CModelList::FactorPresentation factor_presentation_ =
      static_cast<CModelList::FactorPresentation>(1);
  CModelList::ResponsePresentation response_presentation_ =
      static_cast<CModelList::ResponsePresentation>(1);
  CNumberFormat::NumberFormat number_format_ = static_cast<CNumberFormat::NumberFormat>(1);
  CIntervalType::IntervalType interval_type_ = static_cast<CIntervalType::IntervalType>(1);
  int use_res_correlation_ = 0;
  std::string selected_variable_;
  bool design_matrix_from_worksheet_ = true;
  int fit_equal_pls_ = 0;
  LabelTypes::PlotLabelType plot_label_type_ = static_cast<LabelTypes::PlotLabelType>(1);
};

}  // namespace zubra
