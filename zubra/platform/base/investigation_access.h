// The service through which the data model asks the open investigation about its data.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zubra {

// What the data model may ask of the open investigation's data: the observed minimum, centre
// and maximum of a factor (the range of an uncontrolled factor comes from its data), and the
// settings of a qualitative factor that are included in the current analysis. The
// application implements it and installs one object for the process; while none is installed
// Instance() is nullptr and callers keep their own stored values.
//
// Install() shares ownership of the service; Instance() returns a non-owning pointer that
// stays valid until the next Install() or Reset(). Tests install a fake for their own scope
// with ScopedInvestigationAccess, which puts back whatever was installed before.
class InvestigationAccess {
 public:
  virtual ~InvestigationAccess() = default;

  // Return the observed minimum, centre and maximum of the factor `name`, in untransformed
  // units; kUndefined (-99.0) when the factor is unknown or has no data.
  [[nodiscard]] virtual double GetMin(std::string_view name) const = 0;
  [[nodiscard]] virtual double GetCenter(std::string_view name) const = 0;
  [[nodiscard]] virtual double GetMax(std::string_view name) const = 0;

  // Returns the settings of the qualitative factor `name` that the current analysis includes,
  // in setting order; empty when the factor is unknown.
  [[nodiscard]] virtual std::vector<std::string> GetIncludedSettings(
      std::string_view name) const = 0;

  // Returns the installed service, or nullptr when none is installed.
  static InvestigationAccess* Instance();

  // Installs `access` for the whole process, replacing any earlier one; nullptr removes it.
  static void Install(std::shared_ptr<InvestigationAccess> access);

  // Removes the installed service.
  static void Reset();

 protected:
  InvestigationAccess() = default;
  InvestigationAccess(const InvestigationAccess&) = default;
  InvestigationAccess& operator=(const InvestigationAccess&) = default;
};

// Installs an investigation-access service for the lifetime of the guard and puts back the
// one installed before (or none) when the guard is destroyed:
//
//   auto fake = std::make_shared<FakeAccess>();
//   ScopedInvestigationAccess guard(fake);
//   ... code under test sees fake through InvestigationAccess::Instance() ...
class ScopedInvestigationAccess {
 public:
  explicit ScopedInvestigationAccess(std::shared_ptr<InvestigationAccess> access);
  ~ScopedInvestigationAccess();

  ScopedInvestigationAccess(const ScopedInvestigationAccess&) = delete;
  ScopedInvestigationAccess& operator=(const ScopedInvestigationAccess&) = delete;

 private:
  std::shared_ptr<InvestigationAccess> previous_;
};

}  // namespace zubra
