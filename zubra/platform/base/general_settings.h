// The process-wide general settings of the library.
#pragma once

namespace zubra {

// Process-wide general settings. One object per process, reached through Instance(); it
// starts at the defaults below, and Reset() puts it back there (tests call it so that no
// state leaks from one test to the next). Like the rest of the library it is used from one
// thread at a time.
//
// The replicate tolerance is the largest difference between two runs' factor settings,
// as a fraction of each factor's range, at which the runs still count as replicates. It lies
// in 0..0.2 and defaults to 0.05 (5 % of the range); new investigation options take it as
// their default.
class GeneralSettings {
 public:
  static constexpr double kDefaultReplicateTolerance = 0.05;
  static constexpr double kMaxReplicateTolerance = 0.2;

  // Returns the one object of the process.
  static GeneralSettings& Instance();

  GeneralSettings(const GeneralSettings&) = delete;
  GeneralSettings& operator=(const GeneralSettings&) = delete;

  [[nodiscard]] double GetReplicateTolerance() const { return replicate_tolerance_; }

  // Stores `tolerance` when it lies in 0..kMaxReplicateTolerance (both ends included) and
  // returns true; returns false and keeps the old value otherwise, NaN included.
  bool SetReplicateTolerance(double tolerance);

  // Puts every setting back to its default.
  void Reset();

 private:
  GeneralSettings() = default;

  double replicate_tolerance_ = kDefaultReplicateTolerance;
};

}  // namespace zubra
