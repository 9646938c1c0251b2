// The commands of the `zubra` tool: each reads its files, writes its results to a stream or
// to files, its messages to another stream, and returns the tool's exit status.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include "zubra/evaluation/augmentation.h"
#include "zubra/platform/design/e_model.h"

namespace zubra::cli {

// The exit statuses of the tool.
enum ExitStatus : int {
  kExitSuccess = 0,
  // The investigation does not read, is not sound, or gives no design.
  kExitInvalid = 1,
  // The command line is wrong.
  kExitUsage = 2,
  // A file cannot be found, read or written.
  kExitFileError = 3,
  // Ctrl-C: the command stopped and wrote nothing.
  kExitCancelled = 130,
};

// The forms of the worksheet that `design` writes.
enum class SheetFormat { kTsv, kCsv, kJson, kXlsx };

// The format named `name` ("tsv", "csv", "json", "xlsx", any ASCII case); nullopt otherwise.
std::optional<SheetFormat> SheetFormatFromName(std::string_view name);
// The format of an output file by its extension: ".csv", ".json", ".xlsx" (any ASCII case),
// and TSV for any other.
SheetFormat SheetFormatOfPath(std::string_view path);
// Where `design -o OUTPUT` writes the investigation when --save is not given: OUTPUT with its
// extension replaced by ".xml" ("runs.csv" -> "runs.xml").
std::string DefaultInvestigationPath(const std::string& output);

struct DesignRequest {
  std::string input;
  // The worksheet file; the worksheet goes to the output stream when absent.
  std::optional<std::string> output;
  // The file for the investigation with its design; DefaultInvestigationPath(*output) when
  // absent and there is an output file, none otherwise.
  std::optional<std::string> save;
  // The seed of the run order; the file's seed, else a fresh one, when absent.
  std::optional<std::uint32_t> seed;
  // The worksheet's form; SheetFormatOfPath(*output), or TSV, when absent.
  std::optional<SheetFormat> format;
  // Draw a progress bar on the message stream (it is a terminal).
  bool progress_bar = false;
  // The output stream is a terminal (an .xlsx worksheet is not written there).
  bool output_is_terminal = false;
};

// Reads the investigation, checks it, generates its design (the one it names, or the best of
// the catalogue for its objective), makes the worksheet with a randomized run order, writes
// the worksheet and the investigation, and prints the design's summary and the seed (to `out`
// when the worksheet goes to a file, else to `err`). Nothing is written unless everything
// before the writing succeeded, and a Ctrl-C (InterruptScope) before the writing begins stops
// the command with kExitCancelled and no file written.
int RunDesign(const DesignRequest& request, std::ostream& out, std::ostream& err);

// What `zubra evaluate` is asked for.
struct EvaluateRequest {
  std::string input;
  // One JSON document instead of the readable report.
  bool json = false;
  // The folder (it must exist) that receives fds.png, fds.svg, correlation.png and
  // correlation.svg.
  std::optional<std::string> plots;
  // Draw a progress bar on the message stream while a design is generated.
  bool progress_bar = false;
};

// Reads the investigation, generates its design when it holds none (as RunDesign does, with
// the same checks), and evaluates the selected design for the investigation's model (see
// EvaluateDesign): the report, or the JSON document, goes to `out`. With a plot folder, the
// fraction-of-design-space curve and the correlation map are written there first, each file
// atomically; a plot the design cannot have (a singular design) is left out with a message
// on `err`. A Ctrl-C before the writing begins ends the command with kExitCancelled.
int RunEvaluate(const EvaluateRequest& request, std::ostream& out, std::ostream& err);

// How `augment` grows the design.
enum class Growth {
  // The fold-over (all varied factors, or `fold_factor`), the mirrored runs in a new block.
  kFoldOver,
  // The axial runs and centre points that complete a central composite design, in a block of
  // their own; the investigation's model becomes the quadratic one.
  kAxial,
  // `added_runs` D-optimal runs in a new block for the investigation's model, or for
  // `model`'s (which then becomes the investigation's model).
  kOptimal,
};

struct AugmentRequest {
  // The input, the worksheet file, --save, the seed (of the new runs' order), the format and
  // the terminal flags, as for RunDesign. The saved investigation must be of the XML form.
  DesignRequest files;
  Growth growth = Growth::kFoldOver;
  // kFoldOver: the name (or abbreviation) of the one factor to mirror.
  std::optional<std::string> fold_factor;
  // kAxial: the axial distance and the centre points of the axial block.
  CompositeOptions composite;
  // kOptimal: the runs to add (at least 1) and the model type to choose them for.
  int added_runs = 0;
  std::optional<EModel::Type> model;
};

// Reads the investigation, generates its design and makes its worksheet when it holds none
// (from the file's seed), grows the design (FoldOver, CompleteComposite or AugmentDOptimal),
// makes the grown design the investigation's (Investigation::AugmentDesign: the old
// experiments keep their rows and run orders, the new runs follow, shuffled from the seed),
// and writes the worksheet and the investigation as RunDesign does, with the grown design's
// summary and the seed of the new runs. A design that cannot grow that way ends with
// kExitInvalid and its reason; nothing is written then.
int RunAugment(const AugmentRequest& request, std::ostream& out, std::ostream& err);

// Writes the text dumps of the factors, the responses and the model specification.
int RunShow(const std::string& path, std::ostream& out, std::ostream& err);
// The commands below, but RunConvert, take the best design of the catalogue for an
// investigation that names none, as RunDesign does.
//
// Checks the investigation as RunDesign does before generating; every problem goes to `err`
// (kExitInvalid), or a line saying it is sound to `out`.
int RunCheck(const std::string& path, std::ostream& out, std::ostream& err);
// Writes the investigation `input` in the form that `output`'s extension names (".json",
// ".xml" or ".ini").
int RunConvert(const std::string& input, const std::string& output, std::ostream& err);
// Lists the designs of the catalogue that accept the investigation's factors for its
// objective and models: their run counts, block counts, the best choice and the chosen one.
int RunCatalogue(const std::string& path, std::ostream& out, std::ostream& err);

}  // namespace zubra::cli
