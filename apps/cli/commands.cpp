#include "apps/cli/commands.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <memory>
#include <ostream>
#include <utility>
#include <vector>

#include "apps/cli/design_evaluation.h"
#include "apps/cli/design_summary.h"
#include "apps/cli/evaluation_plots.h"
#include "apps/cli/generation_monitor.h"
#include "apps/cli/xlsx_workbook.h"
#include "zubra/investigation/design_catalogue.h"
#include "zubra/investigation/investigation.h"
#include "zubra/investigation/lab_table.h"
#include "zubra/platform/matrix/stream_window.h"
#include "zubra/platform/util/atomic_file.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/json.h"
#include "zubra/platform/util/kt_string.h"
#include "zubra/variables/factor_class.h"

namespace zubra::cli {
namespace {

constexpr const char* kPrefix = "zubra: ";

void Say(std::ostream& err, const std::string& message) { err << kPrefix << message << '\n'; }

// The message of a stop by Ctrl-C.
int Cancelled(std::ostream& err) {
  Say(err, ExceptionMessage::translate("Cancelled; no file was written."));
  return kExitCancelled;
}

// The investigation at `path`; null after writing why not to `err`, with `status` set to
// kExitFileError when the file cannot be read and kExitInvalid when it does not read as an
// investigation.
std::unique_ptr<Investigation> OpenInvestigation(const std::string& path, std::ostream& err,
                                                 int& status) {
  std::error_code error;
  const std::filesystem::file_status file = std::filesystem::status(path, error);
  std::string problem;
  if (!std::filesystem::exists(file)) {
    problem = ExceptionMessage::translate("The file '{}' does not exist.") % path;
  } else if (std::filesystem::is_directory(file)) {
    problem = ExceptionMessage::translate("'{}' is a folder, not an investigation file.") % path;
  } else if (!std::ifstream(path, std::ios::binary).is_open()) {
    problem = ExceptionMessage::translate("Cannot read the file '{}'.") % path;
  }
  if (!problem.empty()) {
    Say(err, problem);
    status = kExitFileError;
    return nullptr;
  }
  try {
    return Investigation::Open(path);
  } catch (const Exception& failure) {
    Say(err, failure.what());
  }
  status = kExitInvalid;
  return nullptr;
}

// Writes `problems` under a heading naming `path`; false when there are none.
bool ReportProblems(const std::string& path, const std::vector<std::string>& problems,
                    std::ostream& err) {
  if (problems.empty()) return false;
  std::string text =
      ExceptionMessage::translate("The investigation '{}' cannot give a design:") % path;
  for (const std::string& problem : problems) text += "\n  - " + problem;
  Say(err, text);
  return true;
}

// Why a file cannot be written at `path` (its folder is missing or not writable); empty when
// it can, as far as can be told before writing.
std::string FolderProblem(const std::string& path) {
  std::filesystem::path folder = std::filesystem::path(path).parent_path();
  if (folder.empty()) folder = ".";
  std::error_code error;
  if (!std::filesystem::is_directory(folder, error)) {
    return ExceptionMessage::translate("Cannot write '{}': the folder '{}' does not exist.") %
           path % folder.string();
  }
  if (access(folder.c_str(), W_OK) != 0) {
    return ExceptionMessage::translate("Cannot write '{}': the folder '{}' is not writable.") %
           path % folder.string();
  }
  return {};
}

bool SamePath(const std::string& a, const std::string& b) {
  std::error_code error;
  if (std::filesystem::equivalent(a, b, error)) return true;
  return std::filesystem::absolute(a, error).lexically_normal() ==
         std::filesystem::absolute(b, error).lexically_normal();
}

// The worksheet of `study` in `format`.
std::string RenderWorksheet(const Investigation& study, SheetFormat format,
                            const std::vector<SummaryItem>& summary) {
  switch (format) {
    case SheetFormat::kTsv:
      return LabTable::FromInvestigation(study).ToDelimited(LabTable::Delimiter::kTab);
    case SheetFormat::kCsv:
      return LabTable::FromInvestigation(study).ToDelimited(LabTable::Delimiter::kComma);
    case SheetFormat::kJson:
      return DumpJson(study.GetWorksheet().ToJson(), 2) + "\n";
    case SheetFormat::kXlsx:
      return MakeWorkbook(LabTable::FromInvestigation(study), summary);
  }
  return {};
}

// "4, 8, 12-20": the ascending `values` with runs of consecutive numbers joined.
template <typename T>
std::string CompactList(const std::vector<T>& values) {
  std::string text;
  for (std::size_t i = 0; i < values.size();) {
    std::size_t j = i;
    while (j + 1 < values.size() && values[j + 1] == values[j] + 1) ++j;
    if (!text.empty()) text += ", ";
    text += std::to_string(values[i]);
    if (j > i + 1) {
      text += "-" + std::to_string(values[j]);
    } else if (j == i + 1) {
      text += ", " + std::to_string(values[j]);
    }
    i = j + 1;
  }
  return text;
}

}  // namespace

std::optional<SheetFormat> SheetFormatFromName(std::string_view name) {
  const std::string lower = KtStdString::ToLower(name);
  if (lower == "tsv") return SheetFormat::kTsv;
  if (lower == "csv") return SheetFormat::kCsv;
  if (lower == "json") return SheetFormat::kJson;
  if (lower == "xlsx") return SheetFormat::kXlsx;
  return std::nullopt;
}

SheetFormat SheetFormatOfPath(std::string_view path) {
  const std::string extension =
      KtStdString::ToLower(std::filesystem::path(path).extension().string());
  if (extension.size() < 2) return SheetFormat::kTsv;
  return SheetFormatFromName(std::string_view(extension).substr(1)).value_or(SheetFormat::kTsv);
}

std::string DefaultInvestigationPath(const std::string& output) {
  return std::filesystem::path(output).replace_extension(".xml").string();
}

// --- design ---------------------------------------------------------------------------------

namespace {

// Where the files of `request` go: the worksheet's form and the investigation file. Returns
// kExitSuccess, or kExitUsage after saying why the outputs cannot be.
int PlanOutputs(const DesignRequest& request, SheetFormat& format, std::optional<std::string>& save,
                std::ostream& err) {
  format = request.format.value_or(request.output ? SheetFormatOfPath(*request.output)
                                                  : SheetFormat::kTsv);
  if (!request.output && format == SheetFormat::kXlsx && request.output_is_terminal) {
    Say(err, ExceptionMessage::translate("An .xlsx worksheet is not written to a terminal; name "
                                         "a file with -o."));
    return kExitUsage;
  }
  save = request.save;
  if (!save && request.output) save = DefaultInvestigationPath(*request.output);
  if (save && request.output && SamePath(*save, *request.output)) {
    Say(err, ExceptionMessage::translate("The worksheet and the investigation would both be "
                                         "written to '{}'; name another file with --save.") %
                 *save);
    return kExitUsage;
  }
  return kExitSuccess;
}

// Says why a file cannot be written in the folder of any of `paths`; kExitFileError then.
int CheckFolders(std::initializer_list<std::optional<std::string>> paths, std::ostream& err) {
  for (const std::optional<std::string>& path : paths) {
    if (!path) continue;
    if (const std::string problem = FolderProblem(*path); !problem.empty()) {
      Say(err, problem);
      return kExitFileError;
    }
  }
  return kExitSuccess;
}

// Generates the design of `study` when it holds none, after checking it as `design` does;
// the bar is drawn on `err` when asked. kExitSuccess, or the status after saying why not.
int EnsureDesign(Investigation& study, const std::string& path, bool progress_bar,
                 std::ostream& err) {
  if (study.GetModelSpec().IsDesignGenerated()) return kExitSuccess;
  if (ReportProblems(path, study.Check(), err)) return kExitInvalid;
  if (InterruptScope::Requested()) return Cancelled(err);
  try {
    GenerationMonitor::Options watch;
    watch.bar = progress_bar ? &err : nullptr;
    GenerationMonitor monitor(std::move(watch));
    study.GenerateDesign(monitor.CancelFlag(), monitor.ProgressCallback());
    monitor.Stop();  // the bar is gone before anything else is said
  } catch (const CancelException&) {
    return Cancelled(err);
  } catch (const Exception& failure) {
    Say(err, failure.what());
    return kExitInvalid;
  }
  return kExitSuccess;
}

// Writes the worksheet of `study` (made with the seed it records) and the investigation as
// `request` asks, then the design's summary, the files written and the seed.
int WriteOutputs(Investigation& study, const DesignRequest& request, SheetFormat format,
                 const std::optional<std::string>& save, std::ostream& out, std::ostream& err) {
  if (InterruptScope::Requested()) return Cancelled(err);
  const std::optional<std::uint32_t> seed = study.GetWorksheet().GetLastSeed();
  study.SetSeed(seed);  // the saved investigation makes the same run order again

  std::string sheet;
  try {
    sheet = RenderWorksheet(study, format, SummarizeDesign(study, seed));
  } catch (const Exception& failure) {
    Say(err, failure.what());
    return kExitFileError;
  }
  if (InterruptScope::Requested()) return Cancelled(err);

  // From here on the command finishes what it writes; a Ctrl-C no longer stops it. The
  // investigation, the larger file, goes first: should it fail, nothing is written.
  std::ostream& report = request.output ? out : err;
  std::vector<SummaryItem> written;
  try {
    if (save) study.Save(*save);
    if (request.output) {
      WriteFileAtomically(*request.output, sheet);
      written.push_back({"Worksheet file", *request.output, std::nullopt, {}});
    } else {
      out << sheet << std::flush;
    }
    if (save) written.push_back({"Investigation file", *save, std::nullopt, {}});
  } catch (const Exception& failure) {
    Say(err, failure.what());
    return kExitFileError;
  }
  std::vector<SummaryItem> items = SummarizeDesign(study, std::nullopt);
  items.insert(items.end(), written.begin(), written.end());
  report << FormatSummary(items);
  if (seed) report << "Seed: " << *seed << '\n';
  return kExitSuccess;
}

}  // namespace

int RunDesign(const DesignRequest& request, std::ostream& out, std::ostream& err) {
  SheetFormat format = SheetFormat::kTsv;
  std::optional<std::string> save;
  if (const int status = PlanOutputs(request, format, save, err); status != kExitSuccess) {
    return status;
  }
  int status = kExitSuccess;
  std::unique_ptr<Investigation> study = OpenInvestigation(request.input, err, status);
  if (study == nullptr) return status;
  if (ReportProblems(request.input, study->Check(), err)) return kExitInvalid;
  // Both files are written or neither: a folder that cannot take one is found before the
  // generation, not after the other file was written.
  if (const int problem = CheckFolders({request.output, save}, err); problem != kExitSuccess) {
    return problem;
  }
  if (const int problem = EnsureDesign(*study, request.input, request.progress_bar, err);
      problem != kExitSuccess) {
    return problem;
  }
  try {
    study->MakeWorksheet(request.seed ? request.seed : study->GetSeed());
  } catch (const Exception& failure) {
    Say(err, failure.what());
    return kExitInvalid;
  }
  return WriteOutputs(*study, request, format, save, out, err);
}

// --- evaluate -------------------------------------------------------------------------------

int RunEvaluate(const EvaluateRequest& request, std::ostream& out, std::ostream& err) {
  if (request.plots) {
    std::error_code error;
    if (!std::filesystem::is_directory(*request.plots, error)) {
      Say(err, ExceptionMessage::translate("Cannot write the plots: the folder '{}' does not "
                                           "exist.") %
                   *request.plots);
      return kExitFileError;
    }
    if (const std::string problem = FolderProblem(*request.plots + "/fds.png"); !problem.empty()) {
      Say(err, problem);
      return kExitFileError;
    }
  }
  int status = kExitSuccess;
  std::unique_ptr<Investigation> study = OpenInvestigation(request.input, err, status);
  if (study == nullptr) return status;
  if (const int problem = EnsureDesign(*study, request.input, request.progress_bar, err);
      problem != kExitSuccess) {
    return problem;
  }

  DesignEvaluation evaluation;
  std::string report;
  std::vector<std::pair<std::string, std::string>> files;  // path, content
  // The fonts the plots looked up are handed back however the drawing ends.
  struct FontRelease {
    bool drawn;
    explicit FontRelease(bool drawing) : drawn(drawing) {}
    FontRelease(const FontRelease&) = delete;
    FontRelease& operator=(const FontRelease&) = delete;
    ~FontRelease() {
      if (drawn) ReleasePlotFonts();
    }
  } fonts(request.plots.has_value());
  try {
    GenerationMonitor monitor(GenerationMonitor::Options{});
    evaluation = EvaluateDesign(*study, monitor.CancelFlag());
    monitor.Stop();
    if (request.plots) {
      const std::filesystem::path folder(*request.plots);
      const auto add = [&](const std::string& stem, const RenderedPlot& plot) {
        files.emplace_back((folder / (stem + ".png")).string(), plot.png);
        files.emplace_back((folder / (stem + ".svg")).string(), plot.svg);
      };
      if (evaluation.variance.singular) {
        Say(err, ExceptionMessage::translate("The design is singular: no fraction-of-design-"
                                             "space plot is written."));
      } else {
        add("fds", PlotFdsCurve(evaluation.variance));
      }
      if (evaluation.correlations.names.empty()) {
        Say(err, ExceptionMessage::translate("The model has no term but the constant: no "
                                             "correlation map is written."));
      } else {
        add("correlation",
            PlotCorrelationMap(evaluation.correlations,
                               static_cast<int>(evaluation.alias_matrix.potential_names.size())));
      }
    }
    if (request.json) {
      json_value json = EvaluationToJson(evaluation);
      if (request.plots) {
        json_value written = json_value::array();
        for (const auto& file : files) written.push_back(file.first);
        json["plots"] = std::move(written);
      }
      report = DumpJson(json, 2) + "\n";
    } else {
      report = FormatEvaluation(evaluation);
      if (!files.empty()) report += "\n== Plots ==\n";
      for (const auto& file : files) report += file.first + '\n';
    }
  } catch (const CancelException&) {
    return Cancelled(err);
  } catch (const Exception& failure) {
    Say(err, failure.what());
    return kExitInvalid;
  }
  if (InterruptScope::Requested()) return Cancelled(err);
  try {
    for (const auto& [path, content] : files) WriteFileAtomically(path, content);
  } catch (const Exception& failure) {
    Say(err, failure.what());
    return kExitFileError;
  }
  out << report << std::flush;
  return kExitSuccess;
}

// --- augment --------------------------------------------------------------------------------

int RunAugment(const AugmentRequest& request, std::ostream& out, std::ostream& err) {
  SheetFormat format = SheetFormat::kTsv;
  std::optional<std::string> save;
  if (const int status = PlanOutputs(request.files, format, save, err); status != kExitSuccess) {
    return status;
  }
  if (save && Investigation::FormatOf(*save).value_or(Investigation::Format::kXml) !=
                  Investigation::Format::kXml) {
    Say(err, ExceptionMessage::translate("Only the XML form keeps a grown design: name an .xml "
                                         "file with --save instead of '{}'.") %
                 *save);
    return kExitUsage;
  }
  const DesignRequest& files = request.files;
  int status = kExitSuccess;
  std::unique_ptr<Investigation> study = OpenInvestigation(files.input, err, status);
  if (study == nullptr) return status;
  if (const int problem = CheckFolders({files.output, save}, err); problem != kExitSuccess) {
    return problem;
  }
  if (const int problem = EnsureDesign(*study, files.input, files.progress_bar, err);
      problem != kExitSuccess) {
    return problem;
  }
  const ModelSpec& spec = study->GetModelSpec();
  const std::shared_ptr<const NCDesign> design = spec.GetDesign();
  const DesignFactors& extract = spec.GetFactors();
  const Factors& factors = extract.GetFactors();

  int fold_index = -1;
  if (request.growth == Growth::kFoldOver && request.fold_factor) {
    fold_index = factors.GetIndex(*request.fold_factor);
    if (const FactorClass* factor = study->GetVariables().GetFactorFromAbbr(*request.fold_factor);
        fold_index < 0 && factor != nullptr) {
      fold_index = factors.GetIndex(factor->GetName());
    }
    if (fold_index < 0) {
      Say(err, ExceptionMessage::translate("The design has no factor named '{}'.") %
                   *request.fold_factor);
      return kExitUsage;
    }
  }

  try {
    if (study->GetWorksheet().GetExperimentCount() != design->GetRuns()) {
      study->MakeWorksheet(files.seed);  // the runs made so far, as `design` orders them
    }
    std::shared_ptr<NCDesign> grown;
    std::optional<DesignModel> model;
    switch (request.growth) {
      case Growth::kFoldOver: {
        FoldOverOptions options;
        options.factor = fold_index;
        grown = FoldOver(*design, factors, options);
        break;
      }
      case Growth::kAxial:
        grown = CompleteComposite(*design, factors, request.composite);
        model = DesignModel::Make(factors, EModel::kQuadratic, EModel::kNone);
        break;
      case Growth::kOptimal: {
        if (request.model) {
          // Mixtures have no interaction model: their quadratic model holds the pairs.
          const EModel::Type mixture =
              *request.model == EModel::kInteraction ? EModel::kQuadratic : *request.model;
          model = DesignModel::Make(factors,
                                    factors.GetProcessCount() > 0 ? *request.model : EModel::kNone,
                                    factors.IsMixture() ? mixture : EModel::kNone);
        } else {
          model = *extract.ToNCDOEModel(spec.GetTermInfo());
        }
        std::unique_ptr<NCDOE::Constraints> constraints;
        if (study->GetConstraints().NumConstraints() > 0) {
          constraints = study->GetConstraints().ToNCConstraint(extract);
        }
        AugmentOptions options;
        options.model = *model;
        options.added_runs = request.added_runs;
        options.blocks = design->GetBlocks();
        options.constraints = constraints.get();
        GenerationMonitor::Options watch;
        watch.bar = files.progress_bar ? &err : nullptr;
        GenerationMonitor monitor(std::move(watch));
        options.progress = monitor.ProgressCallback();
        grown = AugmentDOptimal(design->GetUncoded(), factors, options, monitor.CancelFlag());
        monitor.Stop();
        break;
      }
    }
    if (InterruptScope::Requested()) return Cancelled(err);
    study->AugmentDesign(std::move(grown), model ? &*model : nullptr, files.seed);
  } catch (const CancelException&) {
    return Cancelled(err);
  } catch (const Exception& failure) {
    Say(err, failure.what());
    return kExitInvalid;
  }
  return WriteOutputs(*study, files, format, save, out, err);
}

// --- show, check, convert -------------------------------------------------------------------

int RunShow(const std::string& path, std::ostream& out, std::ostream& err) {
  int status = kExitSuccess;
  const std::unique_ptr<Investigation> study = OpenInvestigation(path, err, status);
  if (study == nullptr) return status;
  StreamWindow window(out);
  study->Show(window);
  out << std::flush;
  return kExitSuccess;
}

int RunCheck(const std::string& path, std::ostream& out, std::ostream& err) {
  int status = kExitSuccess;
  const std::unique_ptr<Investigation> study = OpenInvestigation(path, err, status);
  if (study == nullptr) return status;
  if (ReportProblems(path, study->Check(), err)) return kExitInvalid;
  const std::string sound = ExceptionMessage::translate("The investigation '{}' is sound.") % path;
  out << sound << '\n';
  return kExitSuccess;
}

int RunConvert(const std::string& input, const std::string& output, std::ostream& err) {
  if (!Investigation::FormatOf(output)) {
    Say(err, ExceptionMessage::translate("'{}' names no form of investigation: use the extension "
                                         ".json, .xml or .ini.") %
                 output);
    return kExitUsage;
  }
  int status = kExitSuccess;
  const std::unique_ptr<Investigation> study = OpenInvestigation(input, err, status);
  if (study == nullptr) return status;
  if (InterruptScope::Requested()) return Cancelled(err);
  try {
    study->Save(output);
  } catch (const Exception& failure) {
    Say(err, failure.what());
    return kExitFileError;
  }
  return kExitSuccess;
}

// --- catalogue ------------------------------------------------------------------------------

int RunCatalogue(const std::string& path, std::ostream& out, std::ostream& err) {
  int status = kExitSuccess;
  const std::unique_ptr<Investigation> study = OpenInvestigation(path, err, status);
  if (study == nullptr) return status;
  const ModelSpec& spec = study->GetModelSpec();
  const Factors& factors = spec.GetFactors().GetFactors();

  struct Row {
    std::string type, name, runs, blocks, remark;
  };
  std::vector<Row> rows;
  for (const CatalogueEntry& entry : ListDesignCatalogue(spec)) {
    std::string remark;
    if (entry.best) remark = "best";
    if (entry.chosen) remark += remark.empty() ? "chosen" : ", chosen";
    rows.push_back({EDesign::GetString(entry.type), entry.name, CompactList(entry.runs),
                    CompactList(entry.blocks), remark});
  }

  out << fmt::format("Objective {}, process model {}, mixture model {}, {} factors\n",
                     EObjective::GetString(spec.GetObjective()),
                     EModel::GetString(spec.GetProcessModel()),
                     EModel::GetString(spec.GetMixtureModel()), factors.GetCount());
  if (rows.empty()) {
    Say(err, ExceptionMessage::translate("No design of the catalogue accepts these factors for "
                                         "this objective."));
    return kExitInvalid;
  }
  const Row heading{"Type", "Name", "Runs", "Blocks", ""};
  std::array<std::size_t, 4> widths{};
  const auto widen = [&widths](const Row& row) {
    widths[0] = std::max(widths[0], row.type.size());
    widths[1] = std::max(widths[1], row.name.size());
    widths[2] = std::max(widths[2], row.runs.size());
    widths[3] = std::max(widths[3], row.blocks.size());
  };
  widen(heading);
  for (const Row& row : rows) widen(row);
  const auto line = [&](const Row& row) {
    std::string text =
        fmt::format("{:<{}}  {:<{}}  {:<{}}  {:<{}}  {}", row.type, widths[0], row.name, widths[1],
                    row.runs, widths[2], row.blocks, widths[3], row.remark);
    while (!text.empty() && text.back() == ' ') text.pop_back();
    out << text << '\n';
  };
  line(heading);
  for (const Row& row : rows) line(row);
  return kExitSuccess;
}

}  // namespace zubra::cli
