#include "zubra/platform/base/investigation_access.h"

#include <utility>

namespace zubra {
namespace {

// The installed service; empty while none is installed.
std::shared_ptr<InvestigationAccess>& Slot() {
  static std::shared_ptr<InvestigationAccess> slot;
  return slot;
}

}  // namespace

InvestigationAccess* InvestigationAccess::Instance() { return Slot().get(); }

void InvestigationAccess::Install(std::shared_ptr<InvestigationAccess> access) {
  Slot() = std::move(access);
}

void InvestigationAccess::Reset() { Slot().reset(); }

ScopedInvestigationAccess::ScopedInvestigationAccess(std::shared_ptr<InvestigationAccess> access)
    : previous_(Slot()) {
  InvestigationAccess::Install(std::move(access));
}

ScopedInvestigationAccess::~ScopedInvestigationAccess() {
  InvestigationAccess::Install(std::move(previous_));
}

}  // namespace zubra
