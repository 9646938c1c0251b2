// The owner of an investigation's response working forms: adding, deleting, finding,
// counting, storing them, and keeping derived formulas right when factors come and go.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zubra/responses/response_ex.h"
#include "zubra/variables/variables.h"

namespace zubra {

class ConfigurationSection;

// All ResponseEx objects of one investigation, in order.
//
// Ownership. The manager owns every ResponseEx it holds and destroys it on Delete, Clear and
// Load. A ResponseEx may have released its definition into the variable set
// (MoveDefinitionTo); the manager then never destroys that definition, and the set must keep
// it alive while the working form is held. When the set deletes such a response, delete the
// working form too, by number if the set has already destroyed the definition (deleting by
// name reads the names of the definitions).
//
// Numbers. The manager keeps its responses numbered 1..R in its order (ResponseClass
// numbers, the same numbering the variable set gives its response block): Add numbers the
// new response R + 1, Delete renumbers the later ones down. Numbers given to lookups are
// these 1-based positions.
//
// Names. Every lookup by name ignores ASCII case and one trailing "~", as the variable set
// does. Add refuses a response without a name or with the name of one already held;
// renaming a held response through its pointer is the caller's business.
//
// Stored form (Save, Load). Inside the given section:
//   - XML: a child "Responses" holding the list (key: name, value: number) and one indexed
//     child ("Response", k) per response, k = its number, with ResponseEx::Save in it;
//   - INI (older files): the list in [Responses] and each response in the section named by
//     its name, as ResponseClass::WriteToFile and the variable set write them; the manager
//     adds "Type", "Formula" and "QualitativeSettings" there, so write the manager after
//     the variable set.
//
//   ResponseManager responses;
//   auto yield = std::make_unique<ResponseEx>();
//   yield->GetResponseClass()->SetName("Yield");
//   responses.Add(std::move(yield));
//   responses.MoveDefinitionTo(variables, "Yield");   // the set owns the definition now
//   responses.UpdateDerivedAfterNewOrDelFactor(3, true);  // after inserting a factor at 3
class ResponseManager {
 public:
  ResponseManager() = default;
  ResponseManager(const ResponseManager&) = delete;
  ResponseManager& operator=(const ResponseManager&) = delete;
  ResponseManager(ResponseManager&&) noexcept = default;
  ResponseManager& operator=(ResponseManager&&) noexcept = default;
  ~ResponseManager() = default;

  // --- Changes. ------------------------------------------------------------------------------

  // Appends `response` as number R + 1 and takes it. Refuses (false) a null response, one
  // whose name is empty, and one whose name is already held (see Names); a refused response
  // is handed to `*refused` when given and destroyed otherwise, and nothing changes.
  bool Add(std::unique_ptr<ResponseEx> response, std::unique_ptr<ResponseEx>* refused = nullptr);
  // Destroys the response `name` (or number `number`) and renumbers the later ones down.
  // False, with nothing changed, when there is no such response.
  bool Delete(std::string_view name);
  bool Delete(int number);
  // Destroys every response.
  void Clear() { responses_.clear(); }

  // Hands the definition of the response `name` to `set` (Variables::Add, which numbers it
  // in its response block) and leaves the working form pointing at it. Returns the set's
  // code: kOk when moved; an admission code of Variables::IsLegal when the set refuses it;
  // kNotFound when the manager holds no such response; kNoVariable when its definition was
  // already released. On refusal nothing changes: the set hands the definition back and the
  // working form owns it again, the same object at the same address. When the set's file
  // mirror throws, the working form gets an equal definition of its own back and the
  // exception passes on.
  Variables::Error MoveDefinitionTo(Variables& set, std::string_view name);

  // Renumbers the formula references of every response after a factor was inserted
  // (`added`) or deleted at `index` (ResponseEx::UpdateDerivedAfterNewOrDelFactor).
  void UpdateDerivedAfterNewOrDelFactor(int index, bool added);

  // --- Lookups. ------------------------------------------------------------------------------

  // The response `name`; null when absent.
  [[nodiscard]] ResponseEx* GetResponse(std::string_view name);
  [[nodiscard]] const ResponseEx* GetResponse(std::string_view name) const;
  // The response numbered `number` (1..R); null outside.
  [[nodiscard]] ResponseEx* GetResponseByNumber(int number);
  [[nodiscard]] const ResponseEx* GetResponseByNumber(int number) const;
  // The number of the response `name`; 0 when absent.
  [[nodiscard]] int GetNumber(std::string_view name) const;

  // The responses of `type` in order; kAll lists every one.
  [[nodiscard]] std::vector<ResponseEx*> GetResponses(
      ResponseEx::EResponseType type = ResponseEx::kAll);
  [[nodiscard]] std::vector<const ResponseEx*> GetResponses(
      ResponseEx::EResponseType type = ResponseEx::kAll) const;
  // Their names, in the same order.
  [[nodiscard]] std::vector<std::string> GetNames(
      ResponseEx::EResponseType type = ResponseEx::kAll) const;
  // How many responses are of `type`; kAll counts every one.
  [[nodiscard]] int GetCount(ResponseEx::EResponseType type = ResponseEx::kAll) const;
  // The names of the derived responses whose formula refers to `index`: the responses a
  // change to that variable affects.
  [[nodiscard]] std::vector<std::string> GetDerivedUsing(int index) const;

  // --- Stored form. ----------------------------------------------------------------------------

  // Writes every response (see Stored form), first removing what an earlier save left there:
  // the "Responses" child in XML; in INI the [Responses] list and the sections of the names
  // it lists.
  void Save(ConfigurationSection& section) const;
  // Replaces the held responses by the ones stored in `section`: ordered by their stored
  // numbers (those without a usable number last, in stored order) and renumbered 1..R. An
  // INI name listed without a section of its own gives a response with only that name;
  // responses without a name, and later ones with a name already read, are skipped. A
  // section without responses gives an empty manager. Throws what ResponseEx::Load throws,
  // and then the held responses are unchanged.
  void Load(const ConfigurationSection& section);

 private:
  [[nodiscard]] int IndexOf(std::string_view name) const;
  void Renumber();

  std::vector<std::unique_ptr<ResponseEx>> responses_;
};

}  // namespace zubra
