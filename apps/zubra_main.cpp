// The `zubra` command-line tool: its command line, and the commands it runs.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <exception>
#include <iostream>
#include <optional>
#include <string>

#include "apps/cli/commands.h"
#include "apps/cli/generation_monitor.h"

namespace {

using zubra::cli::kExitUsage;

constexpr const char* kExitStatuses =
    "Exit status: 0 success; 1 the investigation does not read, is not sound or gives no "
    "design; 2 usage error; 3 a file cannot be found, read or written; 130 cancelled by "
    "Ctrl-C (nothing written).";

CLI::App* AddCommand(CLI::App& app, const std::string& name, const std::string& description) {
  CLI::App* command = app.add_subcommand(name, description);
  command->footer(kExitStatuses);
  return command;
}

int Main(int argc, char** argv) {
  CLI::App app{"Zubra: designs of experiments from investigation files (JSON, XML or INI).",
               "zubra"};
  app.footer(kExitStatuses);
  app.set_version_flag("--version", std::string("zubra ") + ZUBRA_VERSION);
  app.require_subcommand(1);

  zubra::cli::DesignRequest request;
  std::string output;
  std::string save;
  std::uint64_t seed = 0;
  std::string format;
  CLI::App* design = AddCommand(
      app, "design",
      "Check the investigation, generate its design (the one it names, or the best for its "
      "objective), make the worksheet with a randomized run order, write the worksheet and "
      "the investigation with its design, and print a summary of the design.");
  design->add_option("FILE", request.input, "The investigation (.json, .xml or .ini)")->required();
  CLI::Option* output_option = design->add_option(
      "-o,--output", output,
      "The worksheet file; without it the worksheet goes to standard output and the summary "
      "to standard error");
  CLI::Option* save_option = design->add_option(
      "--save", save,
      "The file for the investigation with its design (.json or .xml); by default the "
      "worksheet file's name with the extension .xml, or none without -o");
  CLI::Option* seed_option =
      design
          ->add_option("--seed", seed,
                       "The seed of the run order (0 to 4294967295); the same seed gives the "
                       "same worksheet on every platform. Without it the file's seed, or a "
                       "fresh one; the seed used is printed")
          ->check(CLI::Range(std::uint64_t{0}, std::uint64_t{4294967295U}));
  CLI::Option* format_option =
      design
          ->add_option("--format", format,
                       "The worksheet's form: tsv, csv (RFC 4180), json or xlsx; by default "
                       "the extension of the -o file, else tsv")
          ->check(CLI::IsMember({"tsv", "csv", "json", "xlsx"}, CLI::ignore_case));

  std::string path;
  CLI::App* show = AddCommand(app, "show",
                              "Print the text dumps of the factors, the responses and the model "
                              "specification.");
  show->add_option("FILE", path, "The investigation")->required();
  CLI::App* check = AddCommand(app, "check",
                               "Check the investigation only: exit status 0 when it is sound, 1 "
                               "with every problem on standard error otherwise.");
  check->add_option("FILE", path, "The investigation")->required();
  std::string target;
  CLI::App* convert = AddCommand(
      app, "convert", "Write the investigation IN in the form that OUT's extension names.");
  convert->add_option("IN", path, "The investigation")->required();
  convert->add_option("OUT", target, "The new file: .json, .xml or .ini")->required();
  CLI::App* catalogue = AddCommand(
      app, "catalogue",
      "List the designs that the catalogue offers for the investigation's factors, objective "
      "and models, with their run counts, block counts and the best choice.");
  catalogue->add_option("FILE", path, "The investigation")->required();

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? zubra::cli::kExitSuccess : kExitUsage;
  }

  const zubra::cli::InterruptScope interrupts;
  if (design->parsed()) {
    if (output_option->count() > 0) request.output = output;
    if (save_option->count() > 0) request.save = save;
    if (seed_option->count() > 0) request.seed = static_cast<std::uint32_t>(seed);
    if (format_option->count() > 0) request.format = zubra::cli::SheetFormatFromName(format);
    request.progress_bar = isatty(STDERR_FILENO) != 0;
    request.output_is_terminal = isatty(STDOUT_FILENO) != 0;
    return zubra::cli::RunDesign(request, std::cout, std::cerr);
  }
  if (show->parsed()) return zubra::cli::RunShow(path, std::cout, std::cerr);
  if (check->parsed()) return zubra::cli::RunCheck(path, std::cout, std::cerr);
  if (convert->parsed()) return zubra::cli::RunConvert(path, target, std::cerr);
  if (catalogue->parsed()) return zubra::cli::RunCatalogue(path, std::cout, std::cerr);
  return kExitUsage;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Main(argc, argv);
  } catch (const std::exception& error) {
    // A failure no command expects (memory exhausted, say): report it rather than abort.
    std::cerr << "zubra: " << error.what() << '\n';
    return zubra::cli::kExitInvalid;
  }
}
