// The commands of the `zubra` tool: each reads its files, writes its results to a stream or
// to files, its messages to another stream, and returns the tool's exit status.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

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
