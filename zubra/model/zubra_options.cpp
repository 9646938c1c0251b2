#include "zubra/model/zubra_options.h"

#include <algorithm>
#include <cmath>

#include "zubra/model/model_spec.h"
#include "zubra/platform/base/general_settings.h"
#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"
#include "zubra/variables/variables.h"

namespace zubra {
namespace {

// Reads the text of `key` into `field` through `from_text` when the key is present.
template <typename T, typename FromText>
void ReadEnum(const ConfigurationSection& section, const char* key, T& field, FromText from_text) {
  std::string text;
  if (section.ReadString(key, text)) field = from_text(text);
}

// Sets an enumeration that is still "not set" (0) to `fallback`.
template <typename T>
void Default(T& field, int fallback) {
  if (static_cast<int>(field) == 0) field = static_cast<T>(fallback);
}

}  // namespace

ZubraOptions::ZubraOptions()
    : replicate_tolerance_(GeneralSettings::Instance().GetReplicateTolerance()) {
  MakeSureOptionsAreAvailable(nullptr);
}

ZubraOptions::ZubraOptions(const ConfigurationSection& section) : ZubraOptions() {
  LoadOptions(section);
}

void ZubraOptions::SetReplicateTolerance(double tolerance) {
  if (!(tolerance >= 0.0 && tolerance <= GeneralSettings::kMaxReplicateTolerance)) {
    throw Exception(
        ExceptionMessage::translate("The replicate tolerance should be between 0 and 0.2."));
  }
  replicate_tolerance_ = tolerance;
}

bool ZubraOptions::SetPower(double power) {
  if (power == power_) return false;
  power_ = power;
  return true;
}

bool ZubraOptions::SetSelectedVariable(std::string_view name) {
  if (name == selected_variable_) return false;
  selected_variable_ = std::string(name);
  return true;
}

void ZubraOptions::SaveOptions(ConfigurationSection& section) const {
  section.WriteDouble("ReplicateTolerance", replicate_tolerance_);
  section.WriteDouble("Power", power_);
  section.WriteString("R2", CR2Opt::GetString(r2_));
  section.WriteString("Coeff", CCoeff::GetString(coeff_));
  section.WriteString("DefResid", CResid::GetString(resid_));
  section.WriteString("ConfLev", CConfLev::GetString(conf_lev_));
  section.WriteString("TolProp", CConfLev::GetString(tol_prop_));
  section.WriteString("AlphaLev", CAlphaLev::GetString(alpha_lev_));
  section.WriteString("CoeffList", CCoeffList::GetString(coeff_list_));
  section.WriteString("ModelList", CModelList::GetString(model_list_));
  section.WriteString("FactorPresentation", CModelList::GetString(factor_presentation_));
  section.WriteString("ResponsePresentation", CModelList::GetString(response_presentation_));
  section.WriteString("NumberFormat", CNumberFormat::GetString(number_format_));
  section.WriteString("Variable", selected_variable_);
  section.WriteString("PlotLabelType", LabelTypes::GetString(plot_label_type_));
  section.WriteBool("DesignMatrixFromWorksheet", design_matrix_from_worksheet_);
  section.WriteString("IntervalType", CIntervalType::GetString(interval_type_));
  section.WriteInt("UseResCorrelationinFaliureProbability", use_res_correlation_);
  section.WriteInt("FitEqualPLSModelsInOneBigModel", fit_equal_pls_);
}

void ZubraOptions::LoadOptions(const ConfigurationSection& section) {
  section.TryReadDouble("ReplicateTolerance", replicate_tolerance_);
  section.TryReadDouble("Power", power_);
  ReadEnum(section, "R2", r2_, CR2Opt::GetEnum);
  ReadEnum(section, "Coeff", coeff_, CCoeff::GetEnum);
  ReadEnum(section, "DefResid", resid_, CResid::GetEnum);
  ReadEnum(section, "ConfLev", conf_lev_, CConfLev::GetEnum);
  ReadEnum(section, "TolProp", tol_prop_, CConfLev::GetEnum);
  ReadEnum(section, "AlphaLev", alpha_lev_, CAlphaLev::GetEnum);
  ReadEnum(section, "CoeffList", coeff_list_, CCoeffList::GetEnum);
  ReadEnum(section, "ModelList", model_list_, CModelList::GetEnum);
  ReadEnum(section, "FactorPresentation", factor_presentation_, CModelList::GetFactorPresentation);
  ReadEnum(section, "ResponsePresentation", response_presentation_,
           CModelList::GetResponsePresentation);
  ReadEnum(section, "NumberFormat", number_format_, CNumberFormat::GetEnum);
  section.ReadString("Variable", selected_variable_);

  std::string text;
  section.ReadString("PlotLabelType", text);
  plot_label_type_ =
      text.empty() ? static_cast<LabelTypes::PlotLabelType>(1) : LabelTypes::GetEnum(text);
  section.TryReadBool("DesignMatrixFromWorksheet", design_matrix_from_worksheet_);

  if (section.ReadString("IntervalType", text)) {
    interval_type_ = CIntervalType::GetEnum(text);
  } else if (section.ReadString("IndividualPredictionError", text)) {
    interval_type_ = static_cast<CIntervalType::IntervalType>(text == "yes" ? 2 : 1);
  }

  if (section.HasKey("UseResCorrelationinFaliureProbability")) {
    section.TryReadInt("UseResCorrelationinFaliureProbability", use_res_correlation_);
    if (!section.HasKey("FitEqualPLSModelsInOneBigModel")) {
      fit_equal_pls_ = 1;
    } else {
      section.TryReadInt("FitEqualPLSModelsInOneBigModel", fit_equal_pls_);
    }
  }
  MakeSureOptionsAreAvailable(nullptr);
}

json_value ZubraOptions::ToJson() const {
  json_value json = json_value::object();
  json["alphaLevel"] = CAlphaLev::ToJson(alpha_lev_);
  json["coefficients"] = CCoeff::ToJson(coeff_);
  json["confidenceLevel"] = CConfLev::ToJson(conf_lev_);
  json["toleranceProportion"] = CConfLev::ToJson(tol_prop_);
  json["intervalType"] = CIntervalType::ToJson(interval_type_);
  json["power"] = power_;
  json["replicateTolerance"] = replicate_tolerance_;
  json["residuals"] = CResid::ToJson(resid_);
  json["r2"] = CR2Opt::ToJson(r2_);
  return json;
}

void ZubraOptions::FromJson(const json_value& json) {
  if (!json.is_object()) return;
  ZubraOptions read(*this);
  const auto member = [&](const char* key) -> const json_value* {
    const auto it = json.find(key);
    return it == json.end() ? nullptr : &*it;
  };
  if (const json_value* value = member("power")) {
    const double power = value->is_number() ? value->get<double>() : -1.0;
    if (!(power >= 0.0 && power <= 1.0)) {
      throw Exception(ExceptionMessage::translate("Illegal power value."));
    }
    read.power_ = power;
  }
  if (const json_value* value = member("alphaLevel")) read.alpha_lev_ = CAlphaLev::ToEnum(*value);
  if (const json_value* value = member("confidenceLevel")) {
    read.conf_lev_ = CConfLev::ToEnum(*value);
  }
  if (const json_value* value = member("toleranceProportion")) {
    read.tol_prop_ = CConfLev::ToEnum(*value);
  }
  if (const json_value* value = member("coefficients")) read.coeff_ = CCoeff::ToEnum(*value);
  if (const json_value* value = member("intervalType")) {
    read.interval_type_ = CIntervalType::ToEnum(*value);
  }
  if (const json_value* value = member("residuals")) read.resid_ = CResid::ToEnum(*value);
  if (const json_value* value = member("r2")) read.r2_ = CR2Opt::ToEnum(*value);
  if (const json_value* value = member("replicateTolerance");
      value != nullptr && value->is_number()) {
    const double tolerance = value->get<double>();
    if (!std::isnan(tolerance)) {
      read.replicate_tolerance_ =
          std::clamp(tolerance, 0.0, GeneralSettings::kMaxReplicateTolerance);
    }
  }
  read.MakeSureOptionsAreAvailable(nullptr);
  *this = std::move(read);
}

void ZubraOptions::MakeSureOptionsAreAvailable(const ModelSpec* spec) {
  Default(r2_, 1);
  Default(coeff_, 1);
  Default(resid_, 3);
  Default(conf_lev_, 2);
  Default(tol_prop_, 2);
  Default(alpha_lev_, 2);
  Default(coeff_list_, 2);
  Default(model_list_, 1);
  Default(factor_presentation_, 1);
  Default(response_presentation_, 1);
  Default(number_format_, 1);
  Default(plot_label_type_, 1);
  if (!(power_ >= 0.0 && power_ <= 1.0)) power_ = kDefaultPower;
  if (spec == nullptr) return;
  if (spec->GetDesignBuilder() != nullptr && !spec->IsDesignGenerated()) {
    design_matrix_from_worksheet_ = true;
  }
  if (const Variables* variables = spec->GetVariables()) {
    coeff_list_ = static_cast<CCoeffList::CoeffList>(variables->IsAnyQualitative() ? 2 : 1);
  }
}

}  // namespace zubra
