#include "zubra/model/zubra_options.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "tests/model/model_test_support.h"
#include "zubra/model/model_spec.h"
#include "zubra/platform/base/general_settings.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/tinyxml2_section.h"

namespace zubra {
namespace {

std::string ErrorOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const Exception& error) {
    return error.Message();
  }
  return "no exception";
}

TEST(ZubraOptions, StartsAtItsDefaults) {
  const ZubraOptions options;
  EXPECT_EQ(options.GetPower(), 0.8);
  EXPECT_EQ(options.GetResid(), CResid::Resid(3));
  EXPECT_EQ(options.GetConfLev(), CConfLev::ConfLev(2));
  EXPECT_EQ(options.GetCoeffList(), CCoeffList::CoeffList(2));
  EXPECT_TRUE(options.GetDesignMatrixFromWorksheet());
  EXPECT_FALSE(options.GetFitEqualPLSModelsInOneBigModel());
  EXPECT_EQ(options.GetPlotLabelType(), LabelTypes::PlotLabelType(1));
  EXPECT_EQ(options.GetReplicateTolerance(), GeneralSettings::kDefaultReplicateTolerance);
}

TEST(ZubraOptions, SettersReportAChangeAndTheToleranceRefusesItsRange) {
  ZubraOptions options;
  EXPECT_FALSE(options.SetCoeff(options.GetCoeff()));
  EXPECT_TRUE(options.SetCoeff(CCoeff::kUnscaled));
  EXPECT_FALSE(options.SetSelectedVariable(""));
  EXPECT_TRUE(options.SetSelectedVariable("Yield"));
  EXPECT_FALSE(options.SetSelectedVariable("Yield"));
  EXPECT_EQ(ErrorOf([&] { options.SetReplicateTolerance(0.25); }),
            "The replicate tolerance should be between 0 and 0.2.");
  EXPECT_EQ(ErrorOf([&] { options.SetReplicateTolerance(-0.01); }),
            "The replicate tolerance should be between 0 and 0.2.");
  EXPECT_EQ(options.GetReplicateTolerance(), GeneralSettings::kDefaultReplicateTolerance);
  options.SetReplicateTolerance(0.2);
  EXPECT_EQ(options.GetReplicateTolerance(), 0.2);
}

TEST(ZubraOptions, JsonClampsTheToleranceAndRefusesAnIllegalPower) {
  ZubraOptions options;
  options.FromJson(json_value::parse(R"({"replicateTolerance": 0.25, "power": 0.9})"));
  EXPECT_EQ(options.GetReplicateTolerance(), 0.2);
  EXPECT_EQ(options.GetPower(), 0.9);
  options.FromJson(json_value::parse(R"({"replicateTolerance": -1})"));
  EXPECT_EQ(options.GetReplicateTolerance(), 0.0);
  for (const char* text :
       {R"({"power": 1.5, "residuals": "raw"})", R"({"power": "high"})", R"({"power": -0.1})"}) {
    const ZubraOptions before = options;
    EXPECT_EQ(ErrorOf([&] { options.FromJson(json_value::parse(text)); }), "Illegal power value.")
        << text;
    EXPECT_EQ(options, before) << text;  // nothing of a refused document is taken
  }

  ZubraOptions changed;
  changed.SetAlphaLev(CAlphaLev::AlphaLev(1));
  changed.SetResid(CResid::Resid(1));
  changed.SetPower(0.95);
  ZubraOptions read;
  read.FromJson(changed.ToJson());
  EXPECT_EQ(read.ToJson(), changed.ToJson());
  EXPECT_EQ(read.GetAlphaLev(), CAlphaLev::AlphaLev(1));
  EXPECT_EQ(std::string(changed.ToJson().begin().key()), "alphaLevel");
  EXPECT_TRUE(changed.ToJson()["confidenceLevel"].is_number());
  EXPECT_TRUE(changed.ToJson()["residuals"].is_string());
}

TEST(ZubraOptions, LoadingKeepsTheOlderKeysAndRepairs) {
  struct Row {
    const char* name;
    const char* ini;
    std::function<void(const ZubraOptions&)> check;
  };
  const Row rows[] = {
      {"power out of range", "Power=1.5\n",
       [](const ZubraOptions& o) { EXPECT_EQ(o.GetPower(), 0.8); }},
      {"older interval key, exactly yes", "IndividualPredictionError=yes\n",
       [](const ZubraOptions& o) { EXPECT_EQ(o.GetIntervalType(), CIntervalType::kPrediction); }},
      {"older interval key, Yes", "IndividualPredictionError=Yes\n",
       [](const ZubraOptions& o) { EXPECT_EQ(o.GetIntervalType(), CIntervalType::kConfidence); }},
      {"current interval key wins",
       "IntervalType=PredictionInterval\nIndividualPredictionError=no\n",
       [](const ZubraOptions& o) { EXPECT_EQ(o.GetIntervalType(), CIntervalType::kPrediction); }},
      {"correlation key without the fit key", "UseResCorrelationinFaliureProbability=1\n",
       [](const ZubraOptions& o) {
         EXPECT_TRUE(o.GetUseResCorrelationinFaliureProbability());
         EXPECT_TRUE(o.GetFitEqualPLSModelsInOneBigModel());
       }},
      {"fit key alone is not read", "FitEqualPLSModelsInOneBigModel=1\n",
       [](const ZubraOptions& o) { EXPECT_FALSE(o.GetFitEqualPLSModelsInOneBigModel()); }},
      {"unknown texts fall back to the defaults", "DefResid=Sideways\nPlotLabelType=\nR2=?\n",
       [](const ZubraOptions& o) {
         EXPECT_EQ(o.GetResid(), CResid::Resid(3));
         EXPECT_EQ(o.GetR2Opt(), CR2Opt::R2Opt(1));
         EXPECT_EQ(o.GetPlotLabelType(), LabelTypes::PlotLabelType(1));
       }},
      {"a number of another locale keeps its option", "Power=0,9\nReplicateTolerance=0,1\n",
       [](const ZubraOptions& o) {
         EXPECT_EQ(o.GetPower(), 0.8);
         EXPECT_EQ(o.GetReplicateTolerance(), GeneralSettings::kDefaultReplicateTolerance);
       }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const auto section = IniFileSection::LoadString(row.ini);
    row.check(ZubraOptions(*section));
  }
}

TEST(ZubraOptions, SaveThenLoadRestoresEveryOptionInBothForms) {
  ZubraOptions options;
  options.SetPower(0.9);
  options.SetReplicateTolerance(0.1);
  options.SetR2Opt(CR2Opt::R2Opt(2));
  options.SetTolProp(CConfLev::ConfLev(1));
  options.SetModelList(CModelList::ModelList(2));
  options.SetFactorPresentation(CModelList::FactorPresentation(2));
  options.SetNumberFormat(CNumberFormat::NumberFormat(2));
  options.SetSelectedVariable("Yield [%]");
  options.SetDesignMatrixFromWorksheet(false);
  options.SetFitEqualPLSModelsInOneBigModel(true);
  options.SetPlotLabelType(LabelTypes::PlotLabelType(2));
  TinyXML2Section xml;
  options.SaveOptions(xml);
  EXPECT_EQ(xml.GetKeys().front(), "ReplicateTolerance");
  EXPECT_TRUE(xml.HasKey("UseResCorrelationinFaliureProbability"));
  EXPECT_EQ(ZubraOptions(*TinyXML2Section::LoadString(xml.ToString())), options);
  IniFileSection ini;
  options.SaveOptions(ini);
  EXPECT_EQ(ZubraOptions(*IniFileSection::LoadString(ini.ToString())), options);
}

TEST(ZubraOptions, RepairFollowsTheModelSpecification) {
  Variables process = test_support::ProcessSet(2);
  Variables qualitative =
      test_support::MakeSet({{"Cat", "C", CEType::kQualitative, 0, 0, {"a", "b"}},
                             {"Temp", "T", CEType::kQuantitative, 0, 1}});
  ModelSpec plain(&process, test_support::NewSection());
  ModelSpec with_settings(&qualitative, test_support::NewSection());

  ZubraOptions options;
  options.SetDesignMatrixFromWorksheet(false);
  options.SetCoeffList(CCoeffList::CoeffList(2));
  options.MakeSureOptionsAreAvailable(&plain);
  EXPECT_EQ(options.GetCoeffList(), CCoeffList::CoeffList(1));
  EXPECT_TRUE(options.GetDesignMatrixFromWorksheet());  // a design chosen, none generated

  plain.GenerateDesign(nullptr, nullptr);
  options.SetDesignMatrixFromWorksheet(false);
  options.MakeSureOptionsAreAvailable(&with_settings);
  EXPECT_EQ(options.GetCoeffList(), CCoeffList::CoeffList(2));
  options.SetDesignMatrixFromWorksheet(false);
  options.MakeSureOptionsAreAvailable(&plain);
  EXPECT_FALSE(options.GetDesignMatrixFromWorksheet());
}

}  // namespace
}  // namespace zubra
