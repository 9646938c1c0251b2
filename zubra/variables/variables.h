// The variable set of an investigation: the one owner of every factor and response, with the
// lookups, counts, admission checks and settings-file mirror that the rest of the library uses.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zubra/platform/base/ce_type.h"
#include "zubra/platform/base/ce_use.h"
#include "zubra/platform/base/ce_var.h"
#include "zubra/platform/base/sca_types.h"
#include "zubra/platform/matrix/f_matrix.h"
#include "zubra/region/transform.h"
#include "zubra/responses/response_class.h"
#include "zubra/variables/factor_class.h"

namespace zubra {

class ConfigurationSection;
class IniFileSection;

// All factors and responses of one investigation.
//
// Ownership and order. The set owns its variables and keeps them in one vector in a fixed
// order of blocks: process factors (IsA() 2: quantitative, multilevel, qualitative, time) in
// slots 1..P, mixture factors (IsA() 3: formulation, filler) in slots P+1..F, responses
// (IsA() 0) in slots F+1..F+R. A slot is a 1-based position in that vector.
//
// Numbers. Each variable carries a number (ResponseClass::GetNumber): factors are numbered
// within the factor block (process and mixture factors together) and responses within the
// response block, each from 1, and within a block the numbers rise strictly with the slot.
// Adding and removing keep them consecutive: inserting pushes the later ones up, detaching
// pulls them down. Model terms and derived-response formulas refer to variables by number.
//
// Names. Every lookup by name ignores ASCII case and one trailing "~" (the mark of a
// transformed name), so "temp~" finds the factor Temp. Absent names give 0, a null pointer,
// an empty text or false; lookups never throw. Pointers returned stay valid until the
// variable is removed (Delete, Detach) or the set is destroyed or assigned.
//
// Settings file. The set can be bound to the path of the investigation's INI settings file
// (SetIniFile). While bound, Add, Insert(..., true) and Delete mirror their change into the
// file at once: a variable is written with its WriteToFile (its number under its name in the
// section "Factors" or "Responses", its definition in the section named by its name); a
// removed variable loses both; renumbered variables get their new number. Each mirror opens
// the file with IniFileFactory, changes it and saves it atomically; when that throws, the set
// is put back as it was and the exception passes to the caller. WriteIniFile rewrites the
// whole set, ReloadVariables reads it back. Changes made to a variable through a pointer
// (renaming, a new range) reach the file only through WriteIniFile.
//
// Mixtures. Formulation and filler factors are the components of a mixture that adds up to
// the mixture total (GetMixtureTotal, 1.0 unless the file says otherwise). A filler makes up
// whatever the other components leave; without one the controlled formulation factors span a
// constrained simplex, whose L-pseudo-components and reference mixture the set computes.
//
// The set is used from one thread at a time (the name cache is changed by const lookups).
//
//   Variables set;
//   set.SetIniFile(path);                       // optional: mirror into the settings file
//   auto temp = std::make_unique<FactorClass>();
//   temp->SetName("Temp"); temp->SetAbbr("T");
//   temp->SetValue(20.0, 80.0, CEType::kQuantitative, true);
//   if (set.IsLegal(temp.get()) == Variables::kOk) set.Add(std::move(temp));
//   const FactorClass* found = set.GetFactor("TEMP~");   // the same factor
class Variables {
 public:
  // Admission codes of Add and IsLegal; also the results of Delete (kOk, kNotFound).
  enum Error : int {
    kOk = 0,
    kNotFound = 1,          // Delete of a name that is not in the set
    kNotDefined = 14,       // the variable's IsDefined() is false
    kIllegalName = 15,      // the name is empty or LegalName refuses it
    kNameExists = 16,       // a variable of that name (any case, one "~" ignored) is present
    kAbbrNotUnique = 17,    // another variable has that abbreviation (any case)
    kInvalidSettings = 18,  // a factor whose ValidSettings() is false
    kNoVariable = 19,       // a null pointer was given (tested before every other code)
    kIllegalClass = 20,     // IsA() is none of 0, 2, 3 (tested by Add after IsLegal)
    kSecondFiller = 21,     // a filler factor when the set already has one
  };

  // One entry of the "Factors" or "Responses" list of the settings file.
  struct Entry {
    std::string name;
    int number = 0;  // 0 when the stored text is not a whole number
    bool operator==(const Entry&) const = default;
  };

  // The amount of one mixture factor in a reference mixture, in untransformed units.
  struct MixtureAmount {
    std::string name;
    double value = kUndefined;
    bool operator==(const MixtureAmount&) const = default;
  };

  // Walks the factors (slots 1..F) in slot order; `Pointer` is FactorClass* or
  // const FactorClass*.
  template <typename Pointer>
  class FactorIterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using iterator_concept = std::forward_iterator_tag;
    using value_type = Pointer;
    using difference_type = std::ptrdiff_t;
    using pointer = const Pointer*;
    using reference = Pointer;

    FactorIterator() = default;
    explicit FactorIterator(const std::unique_ptr<ResponseClass>* position) : position_(position) {}
    Pointer operator*() const { return static_cast<Pointer>(position_->get()); }
    FactorIterator& operator++() {
      ++position_;
      return *this;
    }
    FactorIterator operator++(int) {
      FactorIterator before = *this;
      ++position_;
      return before;
    }
    bool operator==(const FactorIterator&) const = default;

   private:
    const std::unique_ptr<ResponseClass>* position_ = nullptr;
  };

  // --- Construction. -------------------------------------------------------------------

  // An empty set bound to no file, with mixture total 1.0 and pseudo-components off.
  Variables();
  // Reads the variables and the set's own settings from `section` (see ReadIniFile) and
  // copies `constraints` when given. The set is bound to `ini_path` (may be empty). Throws
  // what ReadIniFile throws.
  Variables(const IniFileSection& section, const FMatrix* constraints, std::string ini_path = {});
  // A whole copy: every variable is copied with its own class, and the constraints, mixture
  // settings, reference mixture and file binding come along, so the copy mirrors into the same
  // file (SetIniFile("") to stop that).
  Variables(const Variables& other);
  Variables& operator=(const Variables& other);
  Variables(Variables&& other) noexcept;
  Variables& operator=(Variables&& other) noexcept;
  ~Variables();

  // --- Name rules (static). -------------------------------------------------------------

  // True for the internal names "$BlockV", "$Layer" and "$Plate", otherwise when the variable
  // name validator accepts the characters of `name`. (The empty name passes here; IsLegal
  // refuses it separately.)
  static bool LegalName(std::string_view name);
  // True when `name` is one of the twenty names the system keeps for itself ("Status",
  // "Model", "Model Settings", ...), compared as whole names with ASCII letters folded.
  static bool IsReservedName(std::string_view name);
  // True when `name` is exactly "$B1", "$B2" or "$B3", or, with `single` false, also one of
  // the interaction generators "$B1$B2", "$B1$B3", "$B2$B3", "$B1$B2$B3".
  static bool IsBlockGen(std::string_view name, bool single);
  // The block generator i (1..7: "$B1", "$B2", "$B3", "$B1$B2", "$B1$B3", "$B2$B3",
  // "$B1$B2$B3"); empty for any other i.
  static std::string GetBlockGen(int i);

  // True when no variable other than the one named `except_name` (any case) has the
  // abbreviation `abbreviation` (any case). An empty `except_name` checks every variable.
  [[nodiscard]] bool IsAbbrUnique(std::string_view abbreviation,
                                  std::string_view except_name) const;

  // --- Admission and changes. ------------------------------------------------------------

  // The first failing admission code for `variable`, in this order: kNoVariable (null),
  // kNotDefined, kIllegalName, kNameExists, kAbbrNotUnique, kInvalidSettings (factors),
  // kSecondFiller; kOk when the set would accept it. Changes nothing.
  [[nodiscard]] Error IsLegal(const ResponseClass* variable) const;

  // Admits `variable`: unless `skip_check`, IsLegal runs and its code is returned at once;
  // then a variable whose IsA() is none of 0, 2, 3 (or a factor class that is not a
  // FactorClass) gives kIllegalClass. An admitted variable
  // is numbered one past its block (process factors P + 1, mixture factors F + 1, responses
  // R + 1), placed by Insert(variable, true) and kOk is returned. A refused variable is handed
  // to `*refused` when that is given and destroyed otherwise; the set is not changed. Throws
  // what the file mirror throws (the set is left as it was).
  Error Add(std::unique_ptr<ResponseClass> variable, bool skip_check = false,
            std::unique_ptr<ResponseClass>* refused = nullptr);

  // Places `variable` by its number without any admission check and returns its slot:
  //   process factor: a number outside 1..P becomes P + 1; it goes before the first slot
  //     that is not a process factor with a smaller number;
  //   mixture factor: a number outside P+1..F becomes F + 1; it goes before the first slot
  //     after P that is not a factor with a smaller number;
  //   response: a number below 1 becomes R + 1; it goes before the first slot after F whose
  //     number is not smaller.
  // The later variables of its numbering block whose numbers no longer rise are renumbered
  // (each becomes its predecessor's number + 1). With `write_to_file` and a bound file, the
  // variable and every renumbered one are written to it. A null `variable`, or one of a class
  // the set cannot hold (see Add), gives 0 and is not kept.
  int Insert(std::unique_ptr<ResponseClass> variable, bool write_to_file);
  // Places `variable` at `slot`, kept within its class's block (a slot before the block goes
  // to its first slot, one after it to one past its last), takes the number that follows its
  // predecessor in the numbering block (1 at the block's start) and renumbers the later ones
  // as above. Returns the slot used; 0 as above.
  int Insert(int slot, std::unique_ptr<ResponseClass> variable, bool write_to_file);

  // Removes and destroys the variable `name`, removes its entry and its section from the
  // bound settings file, and writes the new numbers of the variables that moved down.
  // Returns kOk, or kNotFound (1) when the name is not in the set. Throws what the file
  // mirror throws (the set is left as it was).
  int Delete(std::string_view name);
  // Removes the variable `name` (or at `slot`) from the set and hands it to the caller; the
  // later variables of its numbering block move down one number. The settings file is not
  // touched. Null when absent.
  std::unique_ptr<ResponseClass> Detach(std::string_view name);
  std::unique_ptr<ResponseClass> Detach(int slot);

  // Restores the block order and consecutive numbers after variables were changed through
  // their pointers: variables are grouped by their current IsA() (process factors, mixture
  // factors, responses), ordered by number within each group (stably), and renumbered from 1
  // within the factor and response blocks. The settings file is not touched.
  void Sort();

  // --- Lookups. --------------------------------------------------------------------------

  // The slot of the variable `name`, 0 when absent. A cached slot is used when the variable
  // there has exactly that name; otherwise one trailing "~" is removed and the first variable
  // whose name equals it (ASCII case ignored) wins, and the answer is cached.
  [[nodiscard]] int GetSlot(std::string_view name) const;
  // The variable's number; -1, -2, -3 for "$B1", "$B2", "$B3"; 0 when absent.
  [[nodiscard]] int GetNumber(std::string_view name) const;

  // The variable `name` when its IsA() is `kind`, else null.
  [[nodiscard]] const ResponseClass* Get(std::string_view name, CEVar kind) const;
  ResponseClass* Get(std::string_view name, CEVar kind);
  [[nodiscard]] const ResponseClass* GetVariable(std::string_view name) const;
  ResponseClass* GetVariable(std::string_view name);
  // The variable in `slot` (1-based), null outside 1..GetVariableCount().
  [[nodiscard]] const ResponseClass* GetVariable(int slot) const;
  ResponseClass* GetVariable(int slot);
  // The factor (process or mixture) or the response of that name; null when the name
  // belongs to a variable of the other kind.
  [[nodiscard]] const FactorClass* GetFactor(std::string_view name) const;
  FactorClass* GetFactor(std::string_view name);
  [[nodiscard]] const ResponseClass* GetResponse(std::string_view name) const;
  ResponseClass* GetResponse(std::string_view name);
  // The variable (or factor) whose abbreviation equals `abbreviation` with ASCII case
  // ignored; when none does and it ends in "~", the same without that "~".
  [[nodiscard]] const ResponseClass* GetVariableFromAbbr(std::string_view abbreviation) const;
  ResponseClass* GetVariableFromAbbr(std::string_view abbreviation);
  [[nodiscard]] const FactorClass* GetFactorFromAbbr(std::string_view abbreviation) const;
  FactorClass* GetFactorFromAbbr(std::string_view abbreviation);
  [[nodiscard]] std::string GetNameFromAbbr(std::string_view abbreviation) const;
  // The i-th factor (1..F) and the i-th response (1..R) in slot order; null outside.
  [[nodiscard]] const FactorClass* GetIndexFactor(int i) const;
  FactorClass* GetIndexFactor(int i);
  [[nodiscard]] const ResponseClass* GetIndexResponse(int i) const;
  ResponseClass* GetIndexResponse(int i);
  // The names of the i-th factor and the i-th response; empty outside the block.
  [[nodiscard]] std::string GetFactor(int i) const;
  [[nodiscard]] std::string GetResponse(int i) const;
  // Walking by name: the first factor, the factor after `name` (null after the last factor
  // or for an unknown name), the first response.
  [[nodiscard]] const FactorClass* GetFirstFactor() const;
  FactorClass* GetFirstFactor();
  [[nodiscard]] const FactorClass* GetNextFactor(std::string_view name) const;
  FactorClass* GetNextFactor(std::string_view name);
  [[nodiscard]] const ResponseClass* GetFirstResponse() const;
  ResponseClass* GetFirstResponse();
  // Every factor, every response, every variable, in slot order.
  [[nodiscard]] std::vector<const FactorClass*> GetAllFactors() const;
  std::vector<FactorClass*> GetAllFactors();
  [[nodiscard]] std::vector<const ResponseClass*> GetAllResponses() const;
  std::vector<ResponseClass*> GetAllResponses();
  [[nodiscard]] std::vector<const ResponseClass*> GetAllVariables() const;
  std::vector<ResponseClass*> GetAllVariables();
  [[nodiscard]] FactorIterator<const FactorClass*> factor_begin() const;
  [[nodiscard]] FactorIterator<const FactorClass*> factor_end() const;
  FactorIterator<FactorClass*> factor_begin();
  FactorIterator<FactorClass*> factor_end();

  // --- Per-name queries forwarded to the variable (absent names: empty, 0 or false). -----

  [[nodiscard]] std::string GetAbbr(std::string_view name) const;
  // The abbreviation of the factor numbered `number`; empty when there is none.
  [[nodiscard]] std::string GetAbbr(int number) const;
  // The transformed abbreviation (ending in "~" when transformed) of the variable whose
  // abbreviation, or else whose name, is `text`; `text` itself when there is none, so
  // block-generator abbreviations come back unchanged.
  [[nodiscard]] std::string GetTransformedAbbr(std::string_view text) const;
  [[nodiscard]] std::string GetUnits(std::string_view name) const;
  // The kind and use of a factor; kNone / kNotSet for responses and absent names.
  [[nodiscard]] CEType::EType GetType(std::string_view name) const;
  [[nodiscard]] CEUse::EUse GetUse(std::string_view name) const;
  // The MLR scaling; ScaTypes::kNone (0) for an absent name.
  [[nodiscard]] ScaTypes::EScaType GetScaling(std::string_view name) const;
  // The transform; the unset record for an absent name.
  [[nodiscard]] Transform GetTransform(std::string_view name) const;
  // Setting i (1-based) of the factor, its setting count, the index of a setting text (0
  // when absent), and whether the text is one of its settings.
  [[nodiscard]] std::string GetSetting(std::string_view name, int i) const;
  [[nodiscard]] int GetSettingCount(std::string_view name) const;
  [[nodiscard]] int GetSettingIndex(std::string_view name, std::string_view setting) const;
  [[nodiscard]] bool LegalSetting(std::string_view name, std::string_view setting) const;
  [[nodiscard]] bool IsFactor(std::string_view name) const;
  [[nodiscard]] bool IsResponse(std::string_view name) const;
  [[nodiscard]] bool VariableExist(std::string_view name) const;
  [[nodiscard]] bool IsFactorQualitative(std::string_view name) const;
  [[nodiscard]] bool IsMixture(std::string_view name) const;
  [[nodiscard]] bool IsDesignFactor(std::string_view name) const;

  // --- Counts and predicates. --------------------------------------------------------------

  // All variables, all factors (F), and the variables of one class: kProcessFactor P,
  // kMixtureFactor the mixture factors, kResponse R.
  [[nodiscard]] int GetVariableCount() const { return total_count_; }
  [[nodiscard]] int GetFactorCount() const { return factor_count_; }
  [[nodiscard]] int GetCount(CEVar kind) const;
  // Quantitative factors, only those of `use` when it is not kNotSet.
  [[nodiscard]] int GetQuantitative(CEUse::EUse use = CEUse::kNotSet) const;
  [[nodiscard]] int GetUncontrolledQuantitative() const;
  // Multilevel factors; with `settings`, only those with exactly that many settings.
  [[nodiscard]] int GetMultilevel() const;
  [[nodiscard]] int GetMultilevel(int settings) const;
  // Qualitative factors, only those of `use` when it is not kNotSet.
  [[nodiscard]] int GetQualitative(CEUse::EUse use = CEUse::kNotSet) const;
  // Qualitative factors that take part in designs (controlled, at least two settings).
  [[nodiscard]] int GetQualitativeCount() const;
  // Formulation factors of any use (fillers not counted: see GetCount(kMixtureFactor)).
  [[nodiscard]] int GetMixture() const;
  // The slot of the first filler factor; 0 when there is none.
  [[nodiscard]] int GetFiller() const;
  [[nodiscard]] bool IsAnyQualitative() const;
  [[nodiscard]] bool IsAnyMixture() const;
  [[nodiscard]] bool IsAnyFiller() const;
  [[nodiscard]] bool IsAnyTime() const;
  // True when any factor's range was adjusted (FactorClass::IsAdjusted).
  [[nodiscard]] bool IsAdjusted() const;
  // True when any factor is uncontrolled.
  [[nodiscard]] bool UnControlledExist() const;
  // Factors that may carry a linear constraint: the controlled factors of every kind,
  // qualitative ones included (the constraint arithmetic skips those itself). False for null.
  [[nodiscard]] bool IsConstraintFactor(const FactorClass* factor) const;

  // --- Design factors and expanded columns. ----------------------------------------------

  // The number of design factors (FactorClass::IsDesignFactor).
  [[nodiscard]] int GetDesignFactorCount() const;
  // The 1-based rank of the factor in `slot` among the design factors; 0 when the slot is out
  // of range or not a design factor.
  [[nodiscard]] int GetDesignNumber(int slot) const;
  // The number of the k-th design factor in slot order; 0 when there are fewer than k.
  [[nodiscard]] int GetDesignFactorNumber(int k) const;
  // Columns of the expanded factor matrix, where each factor takes GetExpandedCount()
  // columns (settings - 1 for a qualitative factor): the total over all factors, and over
  // the design factors only.
  [[nodiscard]] int GetExpandedFactorCount() const;
  [[nodiscard]] int GetExpandedDesignFactorCount() const;
  // The first expanded column (1-based) of the factor in `slot`, among all factors or among
  // the design factors; 0 when the slot holds no factor (or no design factor).
  [[nodiscard]] int GetExpandedFactorIndex(int slot) const;
  [[nodiscard]] int GetExpandedDesignFactorIndex(int slot) const;

  // The product of the setting counts of the controlled and uncontrolled multilevel,
  // qualitative and time process factors (1 when there are none). 32-bit arithmetic that
  // wraps on overflow, as the stored candidate-set limits assume.
  [[nodiscard]] int GetRunsFromQualitativeAndMultilevel() const;
  // The size of the full candidate set: that product when the set has no factors, otherwise
  // max(m, 1) x 2^c x that product, with c the controlled quantitative factors and m the
  // controlled formulation factors; computed in wrapping 32-bit arithmetic and widened.
  [[nodiscard]] std::int64_t CandidateSetRuns() const;
  // The bytes the candidate set needs in single precision:
  // CandidateSetRuns() x GetExpandedDesignFactorCount() x 4, in 64 bits.
  [[nodiscard]] std::int64_t CandidateSetMemoryCheck() const;

  // --- Mixtures. -------------------------------------------------------------------------

  // The total that the mixture factors add up to.
  [[nodiscard]] double GetMixtureTotal() const { return mixture_total_; }
  // Sets the total; refuses (false, unchanged) anything but a finite positive number.
  bool SetMixtureTotal(double total);
  [[nodiscard]] bool GetUsePseudoComponents() const { return use_pseudo_components_; }
  void SetUsePseudoComponents(bool use) { use_pseudo_components_ = use; }

  // Checks and tightens the ranges of the formulation factors so that a design can reach
  // them, for a total of 1.0. Works only when there is a controlled formulation factor;
  // otherwise returns true with nothing changed. Controlled formulation factors first get
  // their original ranges back (FactorClass::SetOldRanges). Then, with the lows and highs of
  // the controlled formulation factors and the values of the constant ones summed:
  //   1. a filler whose companions can reach the total (sum of highs >= 1) cannot make up
  //      the rest: it becomes a controlled formulation factor with the range the others
  //      leave it, [max(0, 1 - highs), 1 - lows], and the first message says so;
  //   2. without a filler, a sum of lows above 1 fails with the "too large" message, and a
  //      sum of highs not above 1 fails with the "too small" one;
  //   3. each controlled formulation factor's range is cut to what the others allow,
  //      [max(L, 1 - (highs - H)), min(H, 1 - (lows - L))]; the ends it came from are kept
  //      (FactorClass::AdjustRange) so that a later call can restore them.
  // On success the mixture total becomes 1.0 and true is returned; on failure nothing at all
  // is changed and false is returned. `*changed` (when given) tells whether any factor's kind,
  // range or adjust-from ends differ from before; `*message` (when given) receives the
  // message of the conversion and/or the failure, separated by a blank line, or is cleared.
  bool AdjustMixtureRanges(bool* changed, std::string* message);

  // The L-pseudo-component of `value` for a controlled formulation factor:
  // (value - L) / (T - sum of L), with L the factor's low, the sum over the controlled
  // formulation factors, and T the mixture total less the constant formulation factors.
  // `value` unchanged for any other factor, for a set with a filler (its formulation factors
  // vary freely) and for kUndefined; kUndefined when the ranges leave no room (T <= sum of L).
  [[nodiscard]] double GetPseudoComponent(const FactorClass* factor, double value) const;
  // The inverse: L + pseudo x (T - sum of L), under the same conditions.
  [[nodiscard]] double GetValueFromPseudoComponent(const FactorClass* factor, double pseudo) const;

  // The centroid of the simplex of the controlled formulation factors, one amount per mixture
  // factor in slot order: a controlled formulation factor L + (T - sum of L) / q (q of them;
  // with a filler, the middle of its range instead), a constant one its value, a filler the
  // total less the others, any other (uncontrolled) kUndefined. Empty without mixture factors.
  [[nodiscard]] std::vector<MixtureAmount> GetSimplexReferenceMixture() const;
  // Stores the reference mixture of the design in the set and, when bound, in the settings
  // file (section "$ReferenceMixture", one key per factor). Throws what the file throws,
  // leaving the stored mixture as it was.
  void WriteReferenceMixture(const std::vector<MixtureAmount>& mixture);
  [[nodiscard]] const std::vector<MixtureAmount>& GetReferenceMixture() const {
    return reference_mixture_;
  }

  // --- Constraints matrix. -----------------------------------------------------------------

  // The owned constraints matrix; null when none.
  [[nodiscard]] const FMatrix* GetConstraints() const { return constraints_.get(); }
  // Stores a copy of `constraints`; null removes the matrix.
  void SetConstraints(const FMatrix* constraints);

  // --- Precision strings. ------------------------------------------------------------------

  // `value` formatted by the number of decimals of the variable `name` ("%g" when it has
  // none, or for an absent name); the empty text for kUndefined.
  [[nodiscard]] std::string ToPrecisionString(std::string_view name, double value) const;
  // The same for a number stored as text (read locale-independently, decimal point); a text
  // that is not a number (a qualitative setting, say) comes back unchanged.
  [[nodiscard]] std::string FloatStringToPrecisionString(std::string_view name,
                                                         std::string_view text) const;

  // --- Settings file. ------------------------------------------------------------------------

  // Binds the set to the INI settings file at `path`; empty unbinds. Nothing is read or
  // written.
  void SetIniFile(std::string path) { ini_path_ = std::move(path); }
  [[nodiscard]] const std::string& GetIniFile() const { return ini_path_; }

  // Replaces the whole set by what `section` holds: every name listed in "Factors" becomes a
  // FactorClass read from the section, every name in "Responses" a ResponseClass; they are
  // placed by their stored numbers (numbers are made consecutive; of two names equal in any
  // case the first listed is kept), and the mixture total, pseudo-component switch
  // ("$VariableSet") and reference mixture ("$ReferenceMixture") are read when present and
  // valid. The constraints and the file binding stay. Throws what reading a variable throws,
  // leaving the set unchanged.
  void ReadIniFile(const IniFileSection& section);
  // Binds the set to `path` and reads it (IniFileFactory::Open; a file that does not exist
  // yet gives an empty set). Throws Exception for a malformed file, leaving the set unchanged.
  void LoadIniFile(const std::string& path);
  // Reads the bound file again, dropping changes not written to it. False (nothing done)
  // when the set is not bound.
  bool ReloadVariables();
  // Writes the whole set into `section`: the variables listed there before are removed with
  // their sections, then every variable is written (WriteToFile) and the set's own settings.
  // Other sections are kept.
  void WriteIniFile(IniFileSection& section) const;
  // The same into the bound file, saved atomically. False (nothing done) when not bound.
  bool WriteIniFile() const;
  // The "Factors" and "Responses" lists of the bound file, in file order; empty when the set
  // is not bound or the file holds none.
  [[nodiscard]] std::vector<Entry> GetAllFactorEntries() const;
  [[nodiscard]] std::vector<Entry> GetAllResponseEntries() const;
  // True when the bound file lists exactly the set's factors (or responses) with their
  // numbers, in any order. Otherwise false, and `differences` (when given) receives the names
  // that are missing on either side or carry another number, in set order then file order.
  // An unbound set has nothing to compare and gives true.
  bool FactorCheckDataFile(std::vector<std::string>* differences = nullptr) const;
  bool ResponseCheckDataFile(std::vector<std::string>* differences = nullptr) const;

 private:
  // A variable renumbered by a change, with the number to put back if the change is undone.
  struct NumberChange {
    ResponseClass* variable;
    int old_number;
  };

  // The first slot of a class's block, and the last slot of the numbering block (factors or
  // responses) that `slot` lies in.
  [[nodiscard]] int BlockBegin(CEVar kind) const;
  [[nodiscard]] int NumberingBlockEnd(int slot) const;
  [[nodiscard]] const ResponseClass* At(int slot) const { return variables_[slot - 1].get(); }
  // The factor in `slot`, null outside 1..F.
  [[nodiscard]] const FactorClass* FactorAt(int slot) const;
  // The factor in `slot`, which must lie in 1..F.
  [[nodiscard]] const FactorClass& FactorIn(int slot) const {
    return static_cast<const FactorClass&>(*variables_[slot - 1]);
  }
  [[nodiscard]] const FactorClass* FindFactor(std::string_view name) const;
  void CountIn(const ResponseClass& variable, int delta);
  int Place(int slot, std::unique_ptr<ResponseClass> variable, bool write_to_file);
  std::vector<NumberChange> RenumberFrom(int slot);
  std::unique_ptr<ResponseClass> Remove(int slot, std::vector<NumberChange>* changes);
  void Restore(int slot, std::unique_ptr<ResponseClass> variable,
               const std::vector<NumberChange>& changes);
  void RecountBlocks();
  [[nodiscard]] std::vector<Entry> ReadEntriesFromFile(const char* list) const;
  bool CheckDataFile(bool factors, std::vector<std::string>* differences) const;
  void WriteOwnSettings(ConfigurationSection& root) const;
  void CopyFrom(const Variables& other);

  std::vector<std::unique_ptr<ResponseClass>> variables_;
  int total_count_ = 0;
  int factor_count_ = 0;
  int response_count_ = 0;
  int process_count_ = 0;
  int mixture_count_ = 0;
  std::string ini_path_;
  mutable std::map<std::string, int, std::less<>> name_cache_;
  std::unique_ptr<FMatrix> constraints_;
  bool use_pseudo_components_ = false;
  double mixture_total_ = 1.0;
  std::vector<MixtureAmount> reference_mixture_;
};

}  // namespace zubra
