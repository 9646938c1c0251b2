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
#include "zubra/platform/util/kt_string.h"

namespace {

using zubra::cli::kExitUsage;

constexpr const char* kExitStatuses =
    "Exit status: 0 success; 1 the investigation does not read, is not sound, gives no "
    "design or cannot grow as asked; 2 usage error; 3 a file cannot be found, read or "
    "written; 130 cancelled by Ctrl-C (nothing written).";

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

  zubra::cli::EvaluateRequest evaluate_request;
  std::string plots;
  CLI::App* evaluate = AddCommand(
      app, "evaluate",
      "Evaluate the investigation's design (generated first when the file holds none) for its "
      "model: the power of every term for every response with the runs that reach the target "
      "power, the alias structure and alias matrix, the prediction variance over the region "
      "and the standard errors of the coefficients.");
  evaluate->add_option("FILE", evaluate_request.input, "The investigation")->required();
  evaluate->add_flag("--json", evaluate_request.json,
                     "Print one JSON document instead of the readable report");
  CLI::Option* plots_option = evaluate->add_option(
      "--plots", plots,
      "An existing folder for the plots: fds.png and fds.svg (the fraction-of-design-space "
      "curve), correlation.png and correlation.svg (the correlation map)");

  zubra::cli::AugmentRequest augment_request;
  std::string augment_output;
  std::string augment_save;
  std::uint64_t augment_seed = 0;
  std::string augment_format;
  bool foldover = false;
  bool axial = false;
  std::string fold_factor;
  std::string star;
  float star_distance = 0;
  int axial_centers = 2;
  int added_runs = 0;
  std::string model_name;
  CLI::App* augment = AddCommand(
      app, "augment",
      "Grow the investigation's design (generated first when the file holds none) by a "
      "fold-over, by the axial runs of a central composite design, or by D-optimal runs; the "
      "old runs keep their worksheet rows and run orders and the new runs follow them. Writes "
      "the worksheet and the investigation as `design` does and prints the grown design's "
      "summary.");
  augment->add_option("FILE", augment_request.files.input, "The investigation")->required();
  CLI::Option* foldover_flag = augment->add_flag(
      "--foldover", foldover, "Add the mirror image of every run, in a new block");
  CLI::Option* axial_flag = augment->add_flag(
      "--axial", axial,
      "Add the axial runs and centre points of a central composite design, in a new "
      "block; the model becomes quadratic");
  CLI::Option* runs_option =
      augment
          ->add_option("--runs", added_runs,
                       "Add N D-optimal runs, in a new block, for the investigation's model "
                       "(or --model's)")
          ->check(CLI::Range(1, 100000));
  foldover_flag->excludes(axial_flag)->excludes(runs_option);
  axial_flag->excludes(runs_option);
  CLI::Option* factor_option =
      augment
          ->add_option("--factor", fold_factor,
                       "With --foldover: mirror this factor only (its name or abbreviation)")
          ->needs(foldover_flag);
  CLI::Option* star_option =
      augment
          ->add_option("--star", star,
                       "With --axial: the axial distance that makes the blocks orthogonal "
                       "(orthogonal, the default), the rotatable one (rotatable) or 1 (face)")
          ->check(CLI::IsMember({"orthogonal", "rotatable", "face"}, CLI::ignore_case))
          ->needs(axial_flag);
  CLI::Option* distance_option =
      augment
          ->add_option("--star-distance", star_distance,
                       "With --axial: the axial distance in coded units (0 < D <= 5)")
          ->check(CLI::Range(0.0F, 5.0F))
          ->needs(axial_flag)
          ->excludes(star_option);
  augment
      ->add_option("--center-points", axial_centers,
                   "With --axial: the centre points of the axial block (default 2)")
      ->check(CLI::Range(0, 1000))
      ->needs(axial_flag);
  CLI::Option* model_option =
      augment
          ->add_option("--model", model_name,
                       "With --runs: the model the runs are chosen for (linear, interaction or "
                       "quadratic); it becomes the investigation's model")
          ->check(CLI::IsMember({"linear", "interaction", "quadratic"}, CLI::ignore_case))
          ->needs(runs_option);
  CLI::Option* augment_output_option = augment->add_option(
      "-o,--output", augment_output,
      "The worksheet file; without it the worksheet goes to standard output and the summary "
      "to standard error");
  CLI::Option* augment_save_option = augment->add_option(
      "--save", augment_save,
      "The file for the investigation with its grown design (.xml); by default the "
      "worksheet file's name with the extension .xml, or none without -o");
  CLI::Option* augment_seed_option =
      augment
          ->add_option("--seed", augment_seed,
                       "The seed of the new runs' order (0 to 4294967295); without it the "
                       "file's seed, or a fresh one; the seed used is printed")
          ->check(CLI::Range(std::uint64_t{0}, std::uint64_t{4294967295U}));
  CLI::Option* augment_format_option =
      augment
          ->add_option("--format", augment_format,
                       "The worksheet's form: tsv, csv (RFC 4180), json or xlsx; by default "
                       "the extension of the -o file, else tsv")
          ->check(CLI::IsMember({"tsv", "csv", "json", "xlsx"}, CLI::ignore_case));

  try {
    app.parse(argc, argv);
    if (augment->parsed() &&
        foldover_flag->count() + axial_flag->count() + runs_option->count() == 0) {
      throw CLI::RequiredError("One of --foldover, --axial or --runs N");
    }
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
  if (evaluate->parsed()) {
    if (plots_option->count() > 0) evaluate_request.plots = plots;
    evaluate_request.progress_bar = isatty(STDERR_FILENO) != 0;
    return zubra::cli::RunEvaluate(evaluate_request, std::cout, std::cerr);
  }
  if (augment->parsed()) {
    zubra::cli::DesignRequest& files = augment_request.files;
    if (augment_output_option->count() > 0) files.output = augment_output;
    if (augment_save_option->count() > 0) files.save = augment_save;
    if (augment_seed_option->count() > 0) files.seed = static_cast<std::uint32_t>(augment_seed);
    if (augment_format_option->count() > 0) {
      files.format = zubra::cli::SheetFormatFromName(augment_format);
    }
    files.progress_bar = isatty(STDERR_FILENO) != 0;
    files.output_is_terminal = isatty(STDOUT_FILENO) != 0;
    using Choice = zubra::DesignOptions::StarDistanceChoice;
    if (axial_flag->count() > 0) {
      augment_request.growth = zubra::cli::Growth::kAxial;
      augment_request.composite.center_points = axial_centers;
      const std::string choice = zubra::KtStdString::ToLower(star);
      augment_request.composite.star_choice = choice == "rotatable" ? Choice::kRotatable
                                              : choice == "face"    ? Choice::kFaceCentred
                                                                    : Choice::kOrthogonalBlocking;
      if (distance_option->count() > 0) {
        augment_request.composite.star_choice = Choice::kGiven;
        augment_request.composite.star_distance = star_distance;
      }
    } else if (runs_option->count() > 0) {
      augment_request.growth = zubra::cli::Growth::kOptimal;
      augment_request.added_runs = added_runs;
      if (model_option->count() > 0) {
        const std::string name = zubra::KtStdString::ToLower(model_name);
        augment_request.model = name == "linear"        ? zubra::EModel::kLinear
                                : name == "interaction" ? zubra::EModel::kInteraction
                                                        : zubra::EModel::kQuadratic;
      }
    }
    if (factor_option->count() > 0) augment_request.fold_factor = fold_factor;
    return zubra::cli::RunAugment(augment_request, std::cout, std::cerr);
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
