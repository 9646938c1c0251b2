// The Python module `zubra`: an investigation built, checked, designed and saved from Python,
// its worksheet as a numpy structured array, row dicts or a pandas frame, and every refusal of
// the library raised as zubra.Error with the library's message.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "zubra/investigation/design_catalogue.h"
#include "zubra/investigation/investigation.h"
#include "zubra/investigation/lab_table.h"
#include "zubra/model/model_spec.h"
#include "zubra/platform/base/undefined.h"
#include "zubra/platform/design/design_statistics.h"
#include "zubra/platform/design/e_design.h"
#include "zubra/platform/design/e_model.h"
#include "zubra/platform/design/e_objective.h"
#include "zubra/platform/design/nc_design.h"
#include "zubra/platform/matrix/stream_window.h"
#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/json.h"
#include "zubra/region/constraints_info.h"
#include "zubra/region/transform.h"
#include "zubra/responses/response_ex.h"
#include "zubra/variables/factor_class.h"

namespace py = pybind11;
using namespace pybind11::literals;  // NOLINT(google-build-using-namespace)

namespace zubra::python {
namespace {

// --- JSON between Python and the library. ----------------------------------------------------

// `object` (a dict, list, str, number, bool or None) as the library's JSON value; NaN and the
// infinities are refused as JSON refuses them.
json_value ToJsonValue(const py::handle& object) {
  const py::object text = py::module_::import("json").attr("dumps")(object, "allow_nan"_a = false);
  return ParseJson(text.cast<std::string>());
}

py::object FromJsonValue(const json_value& value) {
  return py::module_::import("json").attr("loads")(DumpJson(value));
}

// A number given from Python as a JSON number, refusing NaN and the infinities.
json_value Number(double value, const char* what) {
  if (!std::isfinite(value)) {
    throw Exception(ExceptionMessage::translate("The {} must be a finite number.") % what);
  }
  return value;
}

// --- The investigation as Python holds it. ----------------------------------------------------

// Owns the investigation and refuses other calls while its design is being generated (the
// generation runs with the GIL released, so another Python thread could call in).
class Study {
 public:
  explicit Study(std::unique_ptr<Investigation> study) : study_(std::move(study)) {}

  Investigation& Get() {
    if (busy_) {
      throw Exception(ExceptionMessage::translate(
          "The investigation is generating its design; wait until it is done."));
    }
    return *study_;
  }
  // Replaces the investigation by `other`, a new form of it read from its changed JSON form.
  void Replace(std::unique_ptr<Investigation> other) {
    Get();
    study_ = std::move(other);
  }
  void SetBusy(bool busy) { busy_ = busy; }

 private:
  std::unique_ptr<Investigation> study_;
  bool busy_ = false;
};

// Applies `patch` to the member `member` of the investigation's JSON form, after removing the
// members `drop` from it, and reads the whole document again: every setting goes through the
// reader's checks and messages, and a refused setting changes nothing (InvestigationError
// lists every problem). A null in `patch` removes the member.
void Patch(Study& study, const char* member, const json_value& patch,
           const std::vector<std::string>& drop) {
  json_value document = study.Get().ToJson();
  json_value& part = document[member];
  if (!part.is_object()) part = json_value::object();
  for (const std::string& key : drop) part.erase(key);
  for (const auto& item : patch.items()) {
    if (item.value().is_null()) {
      part.erase(item.key());
    } else {
      part[item.key()] = item.value();
    }
  }
  study.Replace(Investigation::FromJson(document));
}

// The Python names of the design settings and their members in the JSON form.
struct SettingName {
  const char* python;
  const char* json;
};
constexpr SettingName kSettings[] = {
    {"objective", "objective"},
    {"design", "type"},
    {"design_name", "name"},
    {"model", "model"},
    {"mixture_model", "mixtureModel"},
    {"process_mixture_interaction", "processMixtureInteraction"},
    {"runs", "runs"},
    {"center_points", "centerPoints"},
    {"replicates", "replicates"},
    {"replicated_runs", "replicatedRuns"},
    {"blocks", "blocks"},
    {"block_interactions", "blockInteractions"},
    {"star_distance", "starDistance"},
    {"layers", "layers"},
    {"max_runs", "maxRuns"},
    {"terms", "terms"},
    {"inclusions", "inclusions"},
    {"seed", "seed"},
};

// Sets the design settings of `settings` (Python names) at once. Choosing the objective takes
// its default models and best design; choosing a model without a design takes the best design
// that carries it; choosing a design takes its own runs, centre points and blocks. Settings
// given in the same call are applied after that choice, in the reader's fixed order.
void Configure(Study& study, const py::dict& settings) {
  json_value patch = json_value::object();
  for (const auto& item : settings) {
    const std::string key = py::str(item.first);
    const auto* name = std::find_if(std::begin(kSettings), std::end(kSettings),
                                    [&key](const SettingName& s) { return key == s.python; });
    if (name == std::end(kSettings)) {
      throw py::type_error("configure() got an unexpected setting '" + key + "'");
    }
    patch[name->json] = ToJsonValue(item.second);
  }
  std::vector<std::string> drop;
  const auto given = [&patch](const char* key) { return patch.contains(key); };
  if (given("objective")) {
    drop = {"type", "name", "model", "mixtureModel", "terms", "runs", "centerPoints", "blocks"};
  } else if (given("type") || given("name")) {
    drop = {"runs", "centerPoints", "blocks"};
    if (!given("type")) drop.emplace_back("type");
    if (!given("name")) drop.emplace_back("name");
  } else if (given("model") || given("mixtureModel")) {
    drop = {"type", "name", "terms", "runs", "centerPoints", "blocks"};
  }
  Patch(study, "design", patch, drop);
}

// --- The generated design. ------------------------------------------------------------------

// A generated design and its statistics, as they were when it was taken.
struct DesignView {
  std::shared_ptr<const NCDesign> design;
  std::optional<DesignStatistics::Results> statistics;
  std::vector<std::string> terms;
  std::string objective;
};

std::optional<DesignView> ViewOf(const Investigation& study) {
  const ModelSpec& spec = study.GetModelSpec();
  std::shared_ptr<const NCDesign> design = spec.GetDesign();
  if (design == nullptr) return std::nullopt;
  DesignView view{std::move(design), std::nullopt, {}, EObjective::GetString(spec.GetObjective())};
  if (const DesignStatistics::Results* statistics = spec.GetDesignStatistics()) {
    view.statistics = *statistics;
  }
  for (int i = 1; i <= spec.GetTermInfo().GetNItm(); ++i) {
    view.terms.push_back(spec.GetTermInfo().GetTermNam(i));
  }
  return view;
}

py::array_t<double> MatrixOf(const NCDataMatrix<float>& matrix) {
  py::array_t<double> array({matrix.GetRows(), matrix.GetCols()});
  auto cells = array.mutable_unchecked<2>();
  for (int r = 0; r < matrix.GetRows(); ++r) {
    for (int c = 0; c < matrix.GetCols(); ++c) cells(r, c) = matrix(r, c);
  }
  return array;
}

// A statistic, or None when it is undefined or the design is singular.
py::object Statistic(const DesignView& view, double (DesignStatistics::Results::*get)() const,
                     bool needs_regular) {
  if (!view.statistics || (needs_regular && view.statistics->IsSingular())) return py::none();
  const double value = ((*view.statistics).*get)();
  if (IsUndefined(value) || !std::isfinite(value)) return py::none();
  return py::float_(value);
}

// --- Generation with the GIL released. ------------------------------------------------------

// What the generating thread and the calling thread share.
struct Generation {
  std::mutex mutex;
  std::condition_variable wake;
  bool done = false;
  bool progressed = false;
  int finished = 0;
  int total = 0;
  std::exception_ptr failure;
};

// How often the calling thread looks for Ctrl-C and reports progress while it waits.
constexpr std::chrono::milliseconds kPollInterval{50};

// Generates the design on a thread of its own while the calling thread, with the GIL released
// between looks, waits: every kPollInterval it runs Python's signal handlers (Ctrl-C raises
// KeyboardInterrupt there) and calls `progress(finished, total)` with the GIL held when the
// search reported progress. An exception from either sets the engine's cancel flag; once the
// engine stopped, that exception is raised again. Throws what generation throws.
void GenerateWatched(Study& study, Investigation& investigation, const py::object& progress) {
  Generation state;
  bool cancel = false;  // read by the engine through std::atomic_ref
  std::unique_ptr<py::error_already_set> pending;
  study.SetBusy(true);
  std::thread worker([&state, &cancel, &investigation] {
    try {
      investigation.GenerateDesign(&cancel, [&state](int finished, int total) {
        {
          const std::lock_guard<std::mutex> lock(state.mutex);
          state.finished = finished;
          state.total = total;
          state.progressed = true;
        }
        state.wake.notify_all();
      });
    } catch (...) {
      state.failure = std::current_exception();
    }
    {
      const std::lock_guard<std::mutex> lock(state.mutex);
      state.done = true;
    }
    state.wake.notify_all();
  });
  // Cancels and joins the worker on every way out (other Python threads run meanwhile), and
  // frees the investigation again.
  struct Join {
    std::thread& worker;
    bool& cancel;
    Study& study;
    ~Join() {
      if (worker.joinable()) {
        std::atomic_ref<bool>(cancel).store(true);
        try {
          const py::gil_scoped_release release;
          worker.join();
        } catch (...) {
          // Neither step throws for a joinable thread; a destructor lets nothing escape.
        }
      }
      study.SetBusy(false);
    }
  } join{worker, cancel, study};

  for (;;) {
    bool done = false;
    bool progressed = false;
    int finished = 0;
    int total = 0;
    {
      const py::gil_scoped_release release;
      std::unique_lock<std::mutex> lock(state.mutex);
      state.wake.wait_for(lock, kPollInterval, [&state] { return state.done || state.progressed; });
      done = state.done;
      progressed = state.progressed;
      state.progressed = false;
      finished = state.finished;
      total = state.total;
    }
    if (pending == nullptr) {
      if (PyErr_CheckSignals() != 0) {
        pending = std::make_unique<py::error_already_set>();
      } else if (progressed && !progress.is_none()) {
        try {
          progress(finished, total);
        } catch (py::error_already_set& error) {
          pending = std::make_unique<py::error_already_set>(std::move(error));
        }
      }
      if (pending != nullptr) std::atomic_ref<bool>(cancel).store(true);
    }
    if (done) break;
  }
  {
    const py::gil_scoped_release release;
    worker.join();
  }
  if (pending != nullptr) throw std::move(*pending);
  if (state.failure) std::rethrow_exception(state.failure);
}

// --- The worksheet. ---------------------------------------------------------------------------

// The worksheet in run order, as the laboratory works through it (LabTable).
class WorksheetView {
 public:
  // The worksheet of `study`: its fixed columns (RunOrder, ExpNo, ExpName and, for a design
  // in blocks, Block) precede one column per factor and response.
  explicit WorksheetView(const Investigation& study)
      : table_(LabTable::FromInvestigation(study)),
        fixed_(table_.GetFirstResponseColumn() -
               static_cast<std::size_t>(study.GetVariables().GetFactorCount())) {}

  [[nodiscard]] const LabTable& Table() const { return table_; }
  [[nodiscard]] std::size_t size() const { return table_.GetRows().size(); }

  // The cell as Python holds it: None when empty, int for the counting columns, float, str.
  [[nodiscard]] py::object Cell(std::size_t row, std::size_t column) const {
    const LabTable::Cell& cell = table_.GetRows()[row][column];
    if (const auto* number = std::get_if<double>(&cell)) {
      if (IsCounting(column)) return py::int_(static_cast<long long>(*number));
      return py::float_(*number);
    }
    if (const auto* text = std::get_if<std::string>(&cell)) return py::str(*text);
    return py::none();
  }

  [[nodiscard]] py::dict Row(std::size_t row) const {
    py::dict result;
    for (std::size_t c = 0; c < table_.GetHeader().size(); ++c) {
      result[py::str(table_.GetHeader()[c])] = Cell(row, c);
    }
    return result;
  }

  [[nodiscard]] py::list Rows() const {
    py::list rows;
    for (std::size_t r = 0; r < size(); ++r) rows.append(Row(r));
    return rows;
  }

  [[nodiscard]] py::list Column(const std::string& name) const {
    const std::vector<std::string>& header = table_.GetHeader();
    const auto it = std::find(header.begin(), header.end(), name);
    if (it == header.end()) throw py::key_error(name);
    const auto column = static_cast<std::size_t>(it - header.begin());
    py::list values;
    for (std::size_t r = 0; r < size(); ++r) values.append(Cell(r, column));
    return values;
  }

  // The structured array: one field per column; counting columns int64 (float64 when a cell
  // is empty), numbers float64 with NaN for an empty cell, texts unicode of the longest text.
  [[nodiscard]] py::object ToNumpy() const {
    const py::module_ numpy = py::module_::import("numpy");
    const std::vector<std::string>& header = table_.GetHeader();
    py::list fields;
    std::vector<char> kinds;  // 'i' integer, 'f' float, 'U' text
    for (std::size_t c = 0; c < header.size(); ++c) {
      bool text = false;
      bool empty = false;
      std::size_t longest = 1;
      for (const std::vector<LabTable::Cell>& row : table_.GetRows()) {
        if (const auto* value = std::get_if<std::string>(&row[c])) {
          text = true;
          longest = std::max(longest, py::str(*value).attr("__len__")().cast<std::size_t>());
        } else if (std::holds_alternative<std::monostate>(row[c])) {
          empty = true;
        }
      }
      const char kind = text ? 'U' : (IsCounting(c) && !empty ? 'i' : 'f');
      kinds.push_back(kind);
      const std::string format = kind == 'U'   ? "U" + std::to_string(longest)
                                 : kind == 'i' ? std::string("i8")
                                               : std::string("f8");
      fields.append(py::make_tuple(header[c], format));
    }
    py::object array = numpy.attr("zeros")(size(), "dtype"_a = numpy.attr("dtype")(fields));
    for (std::size_t c = 0; c < header.size(); ++c) {
      py::list values;
      for (std::size_t r = 0; r < size(); ++r) {
        const LabTable::Cell& cell = table_.GetRows()[r][c];
        if (kinds[c] == 'U') {
          if (const auto* value = std::get_if<std::string>(&cell)) {
            values.append(py::str(*value));
          } else if (const auto* number = std::get_if<double>(&cell)) {
            values.append(py::str(LabTable::FormatNumber(*number)));
          } else {
            values.append(py::str(""));
          }
        } else if (const auto* number = std::get_if<double>(&cell)) {
          values.append(py::float_(*number));
        } else {
          values.append(py::float_(std::numeric_limits<double>::quiet_NaN()));
        }
      }
      array[py::str(header[c])] = values;
    }
    return array;
  }

  [[nodiscard]] py::object ToPandas() const {
    py::module_ pandas;
    try {
      pandas = py::module_::import("pandas");
    } catch (py::error_already_set& error) {
      if (!error.matches(PyExc_ImportError)) throw;
      throw py::import_error(
          "to_pandas() needs pandas, which zubra does not depend on: install it "
          "(python3-pandas) or use to_numpy() or to_dicts()");
    }
    py::list columns;
    for (const std::string& name : table_.GetHeader()) columns.append(py::str(name));
    return pandas.attr("DataFrame")(Rows(), "columns"_a = columns);
  }

 private:
  // The fixed columns but ExpName (RunOrder, ExpNo, Block) count runs: their numbers are whole.
  [[nodiscard]] bool IsCounting(std::size_t column) const {
    return column < fixed_ && table_.GetHeader()[column] != "ExpName";
  }

  LabTable table_;
  std::size_t fixed_;
};

// --- Factors, responses and constraints. -----------------------------------------------------

// The settings member of a factor's JSON form from the Python arguments.
json_value FactorSettings(const std::string& kind, const std::string& use,
                          const std::optional<double>& low, const std::optional<double>& high,
                          const std::optional<double>& value, const py::object& settings) {
  json_value list = json_value::array();
  if (!settings.is_none()) {
    list = ToJsonValue(settings);
    if (!list.is_array()) throw py::type_error("settings must be a list");
    return list;
  }
  if (use == "uncontrolled" || kind == "filler") return list;
  if (use == "constant") {
    if (!value) {
      throw Exception(ExceptionMessage::translate("A constant factor needs its value."));
    }
    list.push_back(Number(*value, "value"));
    return list;
  }
  if (use != "controlled") {
    throw Exception(ExceptionMessage::translate(
                        "'{}' is not a use of a factor: controlled, uncontrolled or constant.") %
                    use);
  }
  if (!low || !high) {
    throw Exception(ExceptionMessage::translate(
                        "A controlled {} factor needs its low and high, or its settings.") %
                    kind);
  }
  list.push_back(Number(*low, "low"));
  list.push_back(Number(*high, "high"));
  return list;
}

// A transform given as a name ("log": the constants c1 = 1, c2 = 0, c3 = 1), a tuple (name,
// c1, c2[, c3]) or the JSON form's dict; checked by the transform reader.
json_value TransformJson(const py::object& transform) {
  json_value json;
  if (py::isinstance<py::str>(transform)) {
    json = {{"type", transform.cast<std::string>()},
            {"constants", {{"c1", 1.0}, {"c2", 0.0}, {"c3", 1.0}}}};
  } else if (py::isinstance<py::tuple>(transform)) {
    const auto parts = transform.cast<py::tuple>();
    if (parts.empty()) throw py::type_error("a transform tuple starts with its type");
    json = {{"type", parts[0].cast<std::string>()}, {"constants", json_value::object()}};
    const char* names[] = {"c1", "c2", "c3"};
    for (std::size_t i = 1; i < parts.size() && i <= 3; ++i) {
      json["constants"][names[i - 1]] = Number(parts[i].cast<double>(), "transform constant");
    }
  } else {
    json = ToJsonValue(transform);
  }
  (void)Transform::FromJson(json);  // throws the reader's message for a transform it refuses
  return json;
}

void AddFactor(Investigation& study, const std::string& name, const std::string& abbreviation,
               const std::string& kind, const std::string& use, const std::optional<double>& low,
               const std::optional<double>& high, const std::optional<double>& value,
               const py::object& settings, const std::string& unit, const py::object& transform,
               const std::optional<int>& position) {
  json_value json = {{"name", name},
                     {"abbreviation", abbreviation},
                     {"unit", unit},
                     {"type", kind},
                     {"settings", FactorSettings(kind, use, low, high, value, settings)}};
  if (!transform.is_none()) json["transform"] = TransformJson(transform);
  auto factor = std::make_unique<FactorClass>();
  if (!factor->Load(json)) throw py::type_error("a factor needs a name");
  std::string message;
  const int number = position ? *position + 1 : 0;
  if (study.AddFactor(std::move(factor), number, &message) != Variables::kOk) {
    throw Exception(message);
  }
}

void AddResponse(Investigation& study, const std::string& name, const std::string& abbreviation,
                 const std::string& unit, const py::object& transform,
                 const std::optional<std::string>& criterion, const std::optional<double>& min,
                 const std::optional<double>& target, const std::optional<double>& max,
                 const std::optional<double>& weight, const std::optional<std::string>& condition,
                 const std::optional<std::string>& desirability,
                 const std::optional<std::string>& formula) {
  json_value json = {{"name", name}, {"abbreviation", abbreviation}, {"unit", unit}};
  if (formula) {
    json["type"] = "derived";
    json["formula"] = *formula;
  }
  if (!transform.is_none()) json["transform"] = TransformJson(transform);
  json_value settings = json_value::object();
  json_value objective = json_value::object();
  if (criterion) objective["type"] = *criterion;
  if (min) objective["min"] = Number(*min, "minimum");
  if (target) objective["target"] = Number(*target, "target");
  if (max) objective["max"] = Number(*max, "maximum");
  if (!objective.empty()) settings["objective"] = objective;
  if (condition) settings["condition"] = *condition;
  if (desirability) settings["desirability"] = {{"type", *desirability}};
  if (weight) settings["weight"] = Number(*weight, "weight");
  if (!settings.empty()) json["optimizationSettings"] = settings;
  auto response = std::make_unique<ResponseEx>();
  if (!response->Load(json)) throw py::type_error("a response needs a name");
  std::string message;
  if (study.AddResponse(std::move(response), &message) != Variables::kOk) {
    throw Exception(message);
  }
}

int AddConstraint(Investigation& study, const std::map<std::string, double>& coefficients,
                  const std::string& op, double limit) {
  ConstraintsInfo& constraints = study.GetConstraints();
  const ConstraintsInfo::ExcludeType type =
      ConstraintsInfo::kOperatorTexts.CodeOf(op, ConstraintsInfo::kNoOperator);
  if (type == ConstraintsInfo::kNoOperator) {
    throw Exception(ExceptionMessage::translate(
                        "'{}' is not an operator of a constraint: \"<\" excludes the points below "
                        "the limit, \">\" those above it.") %
                    op);
  }
  if (coefficients.empty()) {
    throw Exception(ExceptionMessage::translate("A constraint needs a coefficient."));
  }
  std::vector<std::pair<int, double>> columns;
  for (const auto& [name, coefficient] : coefficients) {
    const int column = constraints.GetIndex(name);
    if (column < 1) {
      throw Exception(ExceptionMessage::translate("'{}' is not a factor a constraint can use.") %
                      name);
    }
    columns.emplace_back(column, Number(coefficient, "coefficient").get<double>());
  }
  Number(limit, "limit");
  ConstraintsInfo::Constraint* constraint = constraints.AddConstraint(type);
  constraint->SetLimit(limit);
  for (const auto& [column, coefficient] : columns) constraint->SetValue(column, coefficient);
  return constraints.NumConstraints() - 1;
}

py::list ConstraintList(const Investigation& study) {
  const ConstraintsInfo& constraints = study.GetConstraints();
  py::list list;
  for (int i = 1; i <= constraints.NumConstraints(); ++i) {
    const ConstraintsInfo::Constraint* constraint = constraints.GetConstraint(i);
    py::dict coefficients;
    for (int v = 1; v <= constraints.NumValues(); ++v) {
      if (constraint->HasValue(v)) {
        coefficients[py::str(constraints.ValueName(v))] = constraint->GetValue(v);
      }
    }
    py::object limit = IsUndefined(constraint->GetLimit()) ? py::object(py::none())
                                                           : py::float_(constraint->GetLimit());
    py::object op = constraint->GetExcludeType() == ConstraintsInfo::kNoOperator
                        ? py::object(py::none())
                        : py::str(std::string(ConstraintsInfo::kOperatorTexts.ValueOf(
                              constraint->GetExcludeType(), "")));
    list.append(py::dict("coefficients"_a = coefficients, "operator"_a = op, "limit"_a = limit));
  }
  return list;
}

// The validators' answer as Python has it: (accepted, message).
using Verdict = std::pair<bool, std::string>;

std::string ShowText(const Investigation& study) {
  std::ostringstream text;
  StreamWindow window(text);
  study.Show(window);
  return text.str();
}

// zubra.Error: the library's message as its text, the problems as a list.
PyObject* g_error = nullptr;

void RaiseError(const std::string& message, const std::vector<std::string>& problems) {
  py::object error = py::reinterpret_borrow<py::object>(g_error)(message);
  py::list list;
  for (const std::string& problem : problems) list.append(problem);
  error.attr("problems") = list;
  PyErr_SetObject(g_error, error.ptr());
}

void DefineModule(py::module_& m) {
  m.doc() =
      "Zubra: Design of Experiments from Python.\n\n"
      "An Investigation holds the factors, responses, linear constraints and design set-up of\n"
      "one study; design() generates its design and a worksheet in randomized run order.\n\n"
      "    import zubra\n"
      "    inv = zubra.Investigation.load('examples/rsm-enzymatic-hydrolysis.json')\n"
      "    design = inv.design(seed=1)\n"
      "    print(design.runs, design.d_efficiency)\n"
      "    print(inv.worksheet.to_text())\n";
  m.attr("__version__") = ZUBRA_VERSION;

  // zubra.Error carries `problems`; every refusal of the library arrives as one.
  auto error_class = py::reinterpret_steal<py::object>(PyErr_NewExceptionWithDoc(
      "zubra.Error",
      "A refusal of the Zubra library: str(error) is the library's message and\n"
      "error.problems lists each problem it found (the message alone when there is one).",
      PyExc_Exception, nullptr));
  g_error = error_class.ptr();
  m.attr("Error") = error_class;
  // The translator's type is pybind11's: the pointer by value.
  py::register_exception_translator([](std::exception_ptr failure) {  // NOLINT
    if (!failure) return;
    try {
      std::rethrow_exception(failure);
    } catch (const CancelException&) {
      PyErr_SetNone(PyExc_KeyboardInterrupt);
    } catch (const InvestigationError& error) {
      RaiseError(error.what(), error.GetProblems());
    } catch (const Exception& error) {
      RaiseError(error.what(), {error.Message()});
    }
  });

  // --- Validators: the user-entry checks, answered as the library answers them. --------------
  m.def(
      "validate_abbreviation",
      [](std::string text) -> Verdict {
        std::string message;
        const bool ok = FactorClass::CheckValidAbbrevation(text, message);
        return {ok, message};
      },
      "text"_a,
      "Checks a factor's abbreviation as a user typed it: (True, '') when it is accepted,\n"
      "else (False, the library's message).");
  m.def(
      "validate_unit",
      [](std::string text) -> Verdict {
        std::string message;
        const bool ok = FactorClass::CheckValidUnits(text, message);
        return {ok, message};
      },
      "text"_a,
      "Checks a factor's unit: (True, '') when it is accepted, else (False, the message).");
  m.def(
      "validate_star_distance",
      [](float distance) -> Verdict {
        std::string message;
        const bool ok = ModelSpec::ValidateStarDistance(distance, &message);
        return {ok, message};
      },
      "distance"_a,
      "Checks a composite design's star distance (coded units): (True, '') for 0 < d <= 5,\n"
      "else (False, the message).");

  // --- CatalogueEntry. --------------------------------------------------------------------------
  py::class_<CatalogueEntry>(m, "CatalogueEntry",
                             "A design of the catalogue that accepts the investigation's "
                             "factors for its objective and models.")
      .def_property_readonly(
          "design", [](const CatalogueEntry& e) { return EDesign::GetString(e.type); },
          "The design family, as configure(design=...) takes it ('CentralComposite').")
      .def_readonly("name", &CatalogueEntry::name,
                    "The design within its family, as configure(design_name=...) takes it.")
      .def_readonly("runs", &CatalogueEntry::runs, "The run counts it offers, ascending.")
      .def_readonly("blocks", &CatalogueEntry::blocks,
                    "The block counts it offers, ascending (1 always among them).")
      .def_readonly("best", &CatalogueEntry::best,
                    "True for the design the catalogue picks for the objective and models.")
      .def_readonly("chosen", &CatalogueEntry::chosen,
                    "True for the investigation's current design.")
      .def("__repr__", [](const CatalogueEntry& e) {
        return "<zubra.CatalogueEntry " + EDesign::GetString(e.type) + " '" + e.name + "'" +
               (e.best ? " best" : "") + (e.chosen ? " chosen" : "") + ">";
      });

  // --- Design. ----------------------------------------------------------------------------------
  py::class_<DesignView>(m, "Design",
                         "A generated design and its statistics for the investigation's model, "
                         "as they were when it was taken.\nStatistics the design cannot give "
                         "(a singular design, a model that does not fit) are None.")
      .def_property_readonly(
          "design", [](const DesignView& v) { return EDesign::GetString(v.design->GetType()); },
          "The design family ('CentralComposite').")
      .def_property_readonly(
          "name", [](const DesignView& v) { return v.design->GetName(); },
          "The design within its family ('CCF').")
      .def_readonly("objective", &DesignView::objective, "The objective it was made for.")
      .def_property_readonly(
          "runs", [](const DesignView& v) { return v.design->GetRuns(); }, "All runs.")
      .def_property_readonly(
          "factor_names", [](const DesignView& v) { return v.design->GetFactorNames(); },
          "The factors of the matrix columns.")
      .def_property_readonly(
          "matrix", [](const DesignView& v) { return MatrixOf(v.design->GetUncoded()); },
          "The runs in the factors' own units, one row per run in design order (a numpy\n"
          "array, runs x factors; a qualitative factor as its setting number, from 1).")
      .def_property_readonly(
          "coded", [](const DesignView& v) { return MatrixOf(v.design->GetCoded()); },
          "The runs coded as the engine codes them (-1 to +1 for process factors).")
      .def_property_readonly(
          "blocks", [](const DesignView& v) { return v.design->GetBlocks(); },
          "The block of each run, from 1.")
      .def_property_readonly(
          "block_count", [](const DesignView& v) { return v.design->GetBlockCount(); },
          "How many blocks the runs are in.")
      .def_property_readonly(
          "run_kinds",
          [](const DesignView& v) {
            std::vector<std::string> kinds;
            for (const NCDesign::RunKind kind : v.design->GetRunKinds()) {
              kinds.emplace_back(NCDesign::GetRunKindText(kind));
            }
            return kinds;
          },
          "What each run is: 'design', 'axial', 'center' or 'replicate'.")
      .def_property_readonly(
          "center_points",
          [](const DesignView& v) { return v.design->CountRuns(NCDesign::RunKind::kCenter); },
          "The centre runs in all blocks.")
      .def_readonly("terms", &DesignView::terms, "The model's terms ('Constant', 'A', 'A*B').")
      .def_property_readonly(
          "d_efficiency",
          [](const DesignView& v) {
            return Statistic(v, &DesignStatistics::Results::GetDEfficiency, false);
          },
          "D-efficiency in percent, or None.")
      .def_property_readonly(
          "g_efficiency",
          [](const DesignView& v) {
            return Statistic(v, &DesignStatistics::Results::GetGEfficiency, false);
          },
          "G-efficiency in percent, or None.")
      .def_property_readonly(
          "condition_number",
          [](const DesignView& v) {
            return Statistic(v, &DesignStatistics::Results::GetConditionNumber, true);
          },
          "The condition number of the model matrix, or None (singular).")
      .def_property_readonly(
          "log_det",
          [](const DesignView& v) {
            return Statistic(v, &DesignStatistics::Results::GetLogDet, true);
          },
          "The log of the determinant of the information matrix, or None.")
      .def_property_readonly(
          "vif",
          [](const DesignView& v) {
            py::dict vif;
            if (!v.statistics || v.statistics->IsSingular()) return vif;
            const std::vector<std::string>& names = v.statistics->GetTermNames();
            const std::vector<double>& values = v.statistics->GetVIF();
            for (std::size_t i = 0; i < names.size() && i < values.size(); ++i) {
              vif[py::str(names[i])] = values[i];
            }
            return vif;
          },
          "The variance inflation factor of each model column but the constant (a dict;\n"
          "empty when the design is singular).")
      .def_property_readonly(
          "singular",
          [](const DesignView& v) { return !v.statistics || v.statistics->IsSingular(); },
          "True when the model cannot be fitted from the design.")
      .def_property_readonly(
          "residual_df",
          [](const DesignView& v) -> py::object {
            if (!v.statistics || v.statistics->IsSingular()) return py::none();
            return py::int_(v.statistics->GetResidualDF());
          },
          "Residual degrees of freedom, or None.")
      .def_property_readonly(
          "pure_error_df",
          [](const DesignView& v) -> py::object {
            if (!v.statistics || v.statistics->IsSingular()) return py::none();
            return py::int_(v.statistics->GetPureErrorDF());
          },
          "Pure-error degrees of freedom (from replicated runs), or None.")
      .def("__repr__", [](const DesignView& v) {
        return "<zubra.Design " + EDesign::GetString(v.design->GetType()) + " '" +
               v.design->GetName() + "', " + std::to_string(v.design->GetRuns()) + " runs>";
      });

  // --- Worksheet. -------------------------------------------------------------------------------
  py::class_<WorksheetView>(
      m, "Worksheet",
      "The worksheet in run order, one row per experiment: 'RunOrder', 'ExpNo', 'ExpName',\n"
      "'Block' (only for a design in blocks), then each factor and each response, headed by\n"
      "its name and its unit in parentheses ('Temperature (C)'). Empty cells (the responses\n"
      "of a new worksheet) are None in rows and NaN in the numpy array.")
      .def_property_readonly(
          "columns", [](const WorksheetView& w) { return w.Table().GetHeader(); },
          "The column headings.")
      .def_property_readonly(
          "response_columns",
          [](const WorksheetView& w) {
            const std::vector<std::string>& header = w.Table().GetHeader();
            return std::vector<std::string>(
                header.begin() + static_cast<std::ptrdiff_t>(w.Table().GetFirstResponseColumn()),
                header.end());
          },
          "The headings of the response columns.")
      .def("__len__", &WorksheetView::size)
      .def(
          "__iter__", [](const WorksheetView& w) { return py::iter(w.Rows()); },
          "The rows as dicts, in run order.")
      .def(
          "__getitem__",
          [](const WorksheetView& w, const py::object& key) -> py::object {
            if (py::isinstance<py::str>(key)) return w.Column(key.cast<std::string>());
            auto index = key.cast<long long>();
            const auto count = static_cast<long long>(w.size());
            if (index < 0) index += count;
            if (index < 0 || index >= count) throw py::index_error("worksheet row out of range");
            return w.Row(static_cast<std::size_t>(index));
          },
          "key"_a, "A row (an int, as a dict) or a column (its heading, as a list).")
      .def("to_dicts", &WorksheetView::Rows, "The rows as a list of dicts, in run order.")
      .def("to_numpy", &WorksheetView::ToNumpy,
           "The worksheet as a numpy structured array, one field per column.")
      .def(
          "__array__",
          [](const WorksheetView& w, const py::object& dtype) {
            py::object array = w.ToNumpy();
            return dtype.is_none() ? array : array.attr("astype")(dtype);
          },
          "dtype"_a = py::none())
      .def("to_pandas", &WorksheetView::ToPandas,
           "The worksheet as a pandas DataFrame (needs pandas; zubra does not depend on it).")
      .def(
          "to_text",
          [](const WorksheetView& w, const std::string& format) {
            if (format == "tsv") return w.Table().ToDelimited(LabTable::Delimiter::kTab);
            if (format == "csv") return w.Table().ToDelimited(LabTable::Delimiter::kComma);
            throw py::value_error("format must be 'tsv' or 'csv', not '" + format + "'");
          },
          "format"_a = "tsv",
          "The worksheet as text, the same text the zubra tool writes: 'tsv' (tabs, LF) or\n"
          "'csv' (RFC 4180, CRLF). Numbers in the shortest form that reads back exactly.")
      .def("__str__",
           [](const WorksheetView& w) { return w.Table().ToDelimited(LabTable::Delimiter::kTab); })
      .def("__repr__", [](const WorksheetView& w) {
        return "<zubra.Worksheet " + std::to_string(w.size()) + " runs, " +
               std::to_string(w.Table().GetHeader().size()) + " columns>";
      });

  // --- Investigation. ---------------------------------------------------------------------------
  py::class_<Study> investigation(
      m, "Investigation",
      "One study: its factors, responses, linear constraints, design set-up, options and\n"
      "worksheet. Every edit goes through the library's checks; a refused edit raises\n"
      "zubra.Error with the library's message and changes nothing.\n\n"
      "    inv = zubra.Investigation('Coffee')\n"
      "    inv.add_factor('Water temperature', 'Temp', low=85, high=96, unit='C')\n"
      "    inv.add_factor('Brew time', 'Time', low=2, high=5, unit='min')\n"
      "    inv.add_response('Taste score', 'Taste', criterion='maximize', min=5, target=9)\n"
      "    inv.configure(objective='Screening', design='FullFactorial', center_points=3)\n"
      "    inv.design(seed=1)\n"
      "    rows = inv.worksheet.to_dicts()\n");
  investigation
      .def(py::init([](const std::string& name, const std::string& description) {
             auto study = std::make_unique<Investigation>();
             study->SetName(name);
             study->SetDescription(description);
             return std::make_unique<Study>(std::move(study));
           }),
           "name"_a = "", "description"_a = "",
           "An empty investigation: no factors or responses, the screening objective.")
      .def_static(
          "load",
          [](const py::object& path) {
            const std::string text = py::str(py::module_::import("os").attr("fspath")(path));
            return std::make_unique<Study>(Investigation::Open(text));
          },
          "path"_a,
          "Reads the investigation file at `path` (.json, .xml or the older .ini). Raises\n"
          "zubra.Error naming the file and listing every problem when it does not read.")
      .def_static(
          "from_json",
          [](const py::object& document) {
            const json_value json = py::isinstance<py::str>(document)
                                        ? ParseJson(document.cast<std::string>())
                                        : ToJsonValue(document);
            return std::make_unique<Study>(Investigation::FromJson(json));
          },
          "document"_a,
          "The investigation of a JSON document, given as text or as the dict json.loads\n"
          "gives. Raises zubra.Error listing every problem of a document that is not sound.")
      .def(
          "save",
          [](Study& s, const py::object& path) {
            s.Get().Save(py::str(py::module_::import("os").attr("fspath")(path)));
          },
          "path"_a,
          "Writes the investigation as JSON (.json), in the older INI form (.ini) or as XML\n"
          "(any other extension). Atomic: a failed save leaves the old file as it was.")
      .def(
          "to_json", [](Study& s, int indent) { return DumpJson(s.Get().ToJson(), indent); },
          "indent"_a = 2, "The investigation's JSON form as text (indent -1: one line).")
      .def(
          "to_dict", [](Study& s) { return FromJsonValue(s.Get().ToJson()); },
          "The investigation's JSON form as a dict.")
      .def_property(
          "name", [](Study& s) { return s.Get().GetName(); },
          [](Study& s, std::string name) { s.Get().SetName(std::move(name)); },
          "The investigation's name.")
      .def_property(
          "description", [](Study& s) { return s.Get().GetDescription(); },
          [](Study& s, std::string text) { s.Get().SetDescription(std::move(text)); },
          "Free text about the investigation.")

      // Factors.
      .def_property_readonly(
          "factors",
          [](Study& s) {
            json_value list = json_value::array();
            for (const FactorClass* f : s.Get().GetVariables().GetAllFactors()) {
              list.push_back(f->ToJson());
            }
            return FromJsonValue(list);
          },
          "The factors in order (process factors first), each as its JSON form's dict.")
      .def(
          "add_factor",
          [](Study& s, const std::string& name, const std::string& abbreviation,
             const std::string& kind, const std::string& use, std::optional<double> low,
             std::optional<double> high, std::optional<double> value, const py::object& settings,
             const std::string& unit, const py::object& transform, std::optional<int> position) {
            AddFactor(s.Get(), name, abbreviation, kind, use, low, high, value, settings, unit,
                      transform, position);
          },
          "name"_a, "abbreviation"_a, py::kw_only(), "kind"_a = "quantitative",
          "use"_a = "controlled", "low"_a = py::none(), "high"_a = py::none(),
          "value"_a = py::none(), "settings"_a = py::none(), "unit"_a = "",
          "transform"_a = py::none(), "position"_a = py::none(),
          "Adds a factor.\n\n"
          "kind: 'quantitative', 'multilevel', 'qualitative', 'formulation' (a mixture\n"
          "component), 'filler' (the component that makes up the rest) or 'time'.\n"
          "use: 'controlled' (varied: low and high, or the levels or settings as `settings`),\n"
          "'constant' (held at `value`) or 'uncontrolled' (measured, not set).\n"
          "settings: the levels (multilevel, time) or setting texts (qualitative).\n"
          "transform: 'log', ('log', c1, c2), ('power', c1, c2, c3) or the JSON form's dict.\n"
          "position: where it goes (0-based; None appends).\n"
          "Raises zubra.Error with the library's message when the name, abbreviation, unit\n"
          "or settings are refused; nothing changes then.")
      .def(
          "delete_factor",
          [](Study& s, const std::string& name) {
            if (!s.Get().DeleteFactor(name)) {
              throw Exception(ExceptionMessage::translate("There is no factor named '{}'.") % name);
            }
          },
          "name"_a,
          "Deletes the factor and everything that names it: its terms, its constraint\n"
          "coefficients and its worksheet column.")
      .def(
          "rename_factor",
          [](Study& s, const std::string& name, const std::string& new_name) {
            std::string message;
            if (!s.Get().RenameFactor(name, new_name, &message)) throw Exception(message);
          },
          "name"_a, "new_name"_a,
          "Renames a factor; constraints, worksheet columns and terms follow.")
      .def(
          "validate_factor_name",
          [](Study& s, std::string name, const std::string& old_name) -> Verdict {
            std::string message;
            const bool ok =
                FactorClass::CheckValidName(name, message, s.Get().GetVariables(), old_name);
            return {ok, message};
          },
          "name"_a, "old_name"_a = "",
          "Checks a factor name for this investigation (`old_name`: the factor being\n"
          "renamed): (True, '') when accepted, else (False, the library's message).")

      // Responses.
      .def_property_readonly(
          "responses",
          [](Study& s) {
            json_value list = json_value::array();
            for (const ResponseEx* r : s.Get().GetResponses().GetResponses()) {
              list.push_back(r->ToJson());
            }
            return FromJsonValue(list);
          },
          "The responses in order, each as its JSON form's dict.")
      .def(
          "add_response",
          [](Study& s, const std::string& name, const std::string& abbreviation,
             const std::string& unit, const py::object& transform,
             const std::optional<std::string>& criterion, std::optional<double> min,
             std::optional<double> target, std::optional<double> max, std::optional<double> weight,
             const std::optional<std::string>& condition,
             const std::optional<std::string>& desirability,
             const std::optional<std::string>& formula) {
            AddResponse(s.Get(), name, abbreviation, unit, transform, criterion, min, target, max,
                        weight, condition, desirability, formula);
          },
          "name"_a, "abbreviation"_a = "", "unit"_a = "", py::kw_only(), "transform"_a = py::none(),
          "criterion"_a = py::none(), "min"_a = py::none(), "target"_a = py::none(),
          "max"_a = py::none(), "weight"_a = py::none(), "condition"_a = py::none(),
          "desirability"_a = py::none(), "formula"_a = py::none(),
          "Adds a response.\n\n"
          "transform: as for add_factor (the response is modelled on that scale).\n"
          "criterion: 'none', 'minimize', 'maximize', 'target', 'predict' or 'exclude', with\n"
          "the limits min, target and max; weight in the overall desirability; condition\n"
          "'Required', 'Desired' or 'Observed'; desirability 'linear', 'convex', 'concave',\n"
          "'custom' or 'step'. formula makes a derived response ('100-v(5)': v(k) is the\n"
          "k-th variable, factors first). Raises zubra.Error when the name is refused.")
      .def(
          "delete_response",
          [](Study& s, const std::string& name) {
            if (!s.Get().DeleteResponse(name)) {
              throw Exception(ExceptionMessage::translate("There is no response named '{}'.") %
                              name);
            }
          },
          "name"_a, "Deletes the response and its worksheet column.")

      // Constraints.
      .def_property_readonly(
          "constraints", [](Study& s) { return ConstraintList(s.Get()); },
          "The linear constraints, each a dict {'coefficients': {factor: c}, 'operator':\n"
          "'<' or '>', 'limit': number}.")
      .def(
          "add_constraint",
          [](Study& s, const std::map<std::string, double>& coefficients, const std::string& op,
             double limit) { return AddConstraint(s.Get(), coefficients, op, limit); },
          "coefficients"_a, "operator"_a, "limit"_a,
          "Adds a linear constraint and returns its index. It excludes the points where\n"
          "sum(coefficient x factor value), in the factors' own units, is below the limit\n"
          "('<') or above it ('>'). A constraint uses process or mixture factors, not both\n"
          "(check() reports one that mixes them).")
      .def(
          "delete_constraint",
          [](Study& s, int index) {
            if (index < 0 || !s.Get().GetConstraints().RemoveConstraint(index + 1)) {
              throw py::index_error("constraint index out of range");
            }
          },
          "index"_a, "Deletes the constraint at `index` (0-based).")

      // The design set-up.
      .def(
          "configure", [](Study& s, const py::kwargs& settings) { Configure(s, settings); },
          "Sets design settings at once, by keyword: objective ('Screening', 'RSM',\n"
          "'ProcessMixture'), design (the family: 'FullFactorial', 'CentralComposite',\n"
          "'DOptimal', ...), design_name ('CCF'), model ('Linear', 'Interaction',\n"
          "'Quadratic'), mixture_model ('Linear', 'Quadratic', 'SpecialCubic', 'Cubic'),\n"
          "process_mixture_interaction, runs, center_points (per block), replicates,\n"
          "replicated_runs, blocks, block_interactions, star_distance, layers, max_runs,\n"
          "terms (['Constant', 'A', 'A*B']), inclusions (forced runs: [{factor: value}])\n"
          "and seed; None removes a setting.\n\n"
          "Choosing the objective takes its default models and best design; a model without a\n"
          "design takes the best design that carries it; a design takes its own runs, centre\n"
          "points and blocks; the other settings of the same call are applied after that.\n"
          "Raises zubra.Error listing every refused setting; nothing changes then.")
      .def_property(
          "objective",
          [](Study& s) { return EObjective::GetString(s.Get().GetModelSpec().GetObjective()); },
          [](Study& s, const py::object& v) { Configure(s, py::dict("objective"_a = v)); },
          "The objective; setting it takes its default models and best design.")
      .def_property(
          "design_type",
          [](Study& s) { return EDesign::GetString(s.Get().GetModelSpec().GetDesignType()); },
          [](Study& s, const py::object& v) { Configure(s, py::dict("design"_a = v)); },
          "The design family ('None' when no design accepts the factors).")
      .def_property(
          "design_name", [](Study& s) { return s.Get().GetModelSpec().GetDesignName(); },
          [](Study& s, const py::object& v) { Configure(s, py::dict("design_name"_a = v)); },
          "The design within its family ('CCF').")
      .def_property(
          "model",
          [](Study& s) { return EModel::GetString(s.Get().GetModelSpec().GetProcessModel()); },
          [](Study& s, const py::object& v) { Configure(s, py::dict("model"_a = v)); },
          "The process model ('None' without process factors).")
      .def_property(
          "mixture_model",
          [](Study& s) { return EModel::GetString(s.Get().GetModelSpec().GetMixtureModel()); },
          [](Study& s, const py::object& v) { Configure(s, py::dict("mixture_model"_a = v)); },
          "The mixture model ('None' without mixture factors).")
      .def_property(
          "runs", [](Study& s) { return s.Get().GetModelSpec().GetRuns(); },
          [](Study& s, const py::object& v) { Configure(s, py::dict("runs"_a = v)); },
          "The runs of the design proper (0: the design's own number).")
      .def_property(
          "center_points",
          [](Study& s) {
            const ModelSpec& spec = s.Get().GetModelSpec();
            return spec.GetCenterPoints() / std::max<int>(1, static_cast<int>(spec.GetBlocks()));
          },
          [](Study& s, const py::object& v) { Configure(s, py::dict("center_points"_a = v)); },
          "Centre points in each block.")
      .def_property(
          "blocks", [](Study& s) { return s.Get().GetModelSpec().GetBlocks(); },
          [](Study& s, const py::object& v) { Configure(s, py::dict("blocks"_a = v)); },
          "The blocks the runs are divided into.")
      .def_property_readonly(
          "available_blocks", [](Study& s) { return s.Get().GetModelSpec().GetAvalibleBlocks(); },
          "The block counts the current design offers.")
      .def_property(
          "replicates", [](Study& s) { return s.Get().GetModelSpec().GetReplicates(); },
          [](Study& s, const py::object& v) { Configure(s, py::dict("replicates"_a = v)); },
          "How many more times the whole design is run.")
      .def_property(
          "terms",
          [](Study& s) {
            const TermInfo& terms = s.Get().GetModelSpec().GetTermInfo();
            std::vector<std::string> names;
            for (int i = 1; i <= terms.GetNItm(); ++i) names.push_back(terms.GetTermNam(i));
            return names;
          },
          [](Study& s, const py::object& v) { Configure(s, py::dict("terms"_a = v)); },
          "The model's terms; setting them edits the model (optimal designs are built for\n"
          "it); None goes back to the model type's default terms.")
      .def_property(
          "seed", [](Study& s) { return s.Get().GetSeed(); },
          [](Study& s, std::optional<std::uint32_t> seed) { s.Get().SetSeed(seed); },
          "The seed of the worksheet's run order named by the investigation, or None.")
      .def_property_readonly(
          "last_seed", [](Study& s) { return s.Get().GetWorksheet().GetLastSeed(); },
          "The seed the worksheet's run order was last shuffled with, or None.")
      .def_property(
          "options", [](Study& s) { return FromJsonValue(s.Get().GetOptions().ToJson()); },
          [](Study& s, const py::dict& options) { Patch(s, "options", ToJsonValue(options), {}); },
          "The analysis options as a dict (the JSON form's 'options'); assigning a dict\n"
          "changes the options it names.")

      // Checking and the main job.
      .def(
          "check", [](Study& s) { return s.Get().Check(); },
          "Every problem that keeps the investigation from giving a design, as the library's\n"
          "messages; empty when it is sound.")
      .def(
          "catalogue", [](Study& s) { return ListDesignCatalogue(s.Get().GetModelSpec()); },
          "The designs of the catalogue that accept the factors for the objective and\n"
          "models, with their run and block counts, the best choice and the chosen one.")
      .def(
          "design",
          [](Study& s, std::optional<std::uint32_t> seed, const py::object& progress) {
            Investigation& study = s.Get();
            const std::vector<std::string> problems = study.Check();
            if (!problems.empty()) throw InvestigationError(problems);
            GenerateWatched(s, study, progress);
            study.MakeWorksheet(seed ? seed : study.GetSeed());
            study.SetSeed(study.GetWorksheet().GetLastSeed());
            return *ViewOf(study);
          },
          "seed"_a = py::none(), "progress"_a = py::none(),
          "Checks the investigation, generates its design and makes the worksheet with a\n"
          "randomized run order; returns the Design.\n\n"
          "seed: the run order's seed (else the investigation's seed, else a fresh one; the\n"
          "seed used becomes the investigation's seed, so a saved file gives the same order).\n"
          "progress: called as progress(finished, total) while an optimal design is searched,\n"
          "on the calling thread; an exception it raises cancels the search and is raised.\n"
          "The search runs with the GIL released; Ctrl-C cancels it (KeyboardInterrupt).\n"
          "Raises zubra.Error listing the problems of an investigation that cannot give a\n"
          "design.")
      .def(
          "make_worksheet",
          [](Study& s, std::optional<std::uint32_t> seed) {
            Investigation& study = s.Get();
            study.MakeWorksheet(seed ? seed : study.GetSeed());
            study.SetSeed(study.GetWorksheet().GetLastSeed());
            return WorksheetView(study);
          },
          "seed"_a = py::none(),
          "Makes the worksheet again from the generated design with a new run order.")
      .def_property_readonly(
          "generated_design",
          [](Study& s) -> py::object {
            std::optional<DesignView> view = ViewOf(s.Get());
            if (!view) return py::none();
            return py::cast(std::move(*view));
          },
          "The generated design, or None.")
      .def_property_readonly(
          "worksheet", [](Study& s) { return WorksheetView(s.Get()); },
          "The worksheet in run order (a snapshot: take it again after a change).")
      .def(
          "show", [](Study& s) { return ShowText(s.Get()); },
          "The text dumps of the factors, the responses and the model specification.")
      .def("__repr__", [](Study& s) {
        const Investigation& study = s.Get();
        return "<zubra.Investigation '" + study.GetName() +
               "': " + std::to_string(study.GetVariables().GetFactorCount()) + " factors, " +
               std::to_string(study.GetResponses().GetResponses().size()) + " responses>";
      });
}

}  // namespace
}  // namespace zubra::python

PYBIND11_MODULE(zubra, m) { zubra::python::DefineModule(m); }
