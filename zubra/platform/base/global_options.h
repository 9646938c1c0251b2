// Process-wide switches of the library, among them the fixed random seed for validation runs.
#pragma once

namespace zubra {

// Process-wide switches. One object per process, reached through Instance(); Reset() puts it
// back into the state of a fresh process (tests call it so that no state leaks).
//
// The fixed-seed switch makes every randomization of the library (run-order shuffles, for
// one) start from a fixed seed, so that validation runs give repeatable results. It is off
// unless turned on by SetFixedSeedForValidation or by the environment variable
// ZUBRA_FIXED_SEED:
//   "1", "true", "yes", "on"   (any ASCII case) turn it on;
//   "0", "false", "no", "off"  turn it off;
//   absent, or any other text, leaves the switch as it is.
// The variable is read when the object is first used, on Reset(), and on
// FixedSeedForValidation(true); a later read wins over an earlier setter call.
class GlobalOptions {
 public:
  static constexpr const char* kFixedSeedVariable = "ZUBRA_FIXED_SEED";

  // Returns the one object of the process.
  static GlobalOptions& Instance();

  GlobalOptions(const GlobalOptions&) = delete;
  GlobalOptions& operator=(const GlobalOptions&) = delete;

  // Returns the fixed-seed switch. With `refresh` true, ZUBRA_FIXED_SEED is read again first
  // (a validation harness may set it after start-up); with false the current switch is
  // returned without touching the environment.
  [[nodiscard]] bool FixedSeedForValidation(bool refresh) const;

  // Turns the fixed-seed switch on or off.
  void SetFixedSeedForValidation(bool fixed) { fixed_seed_ = fixed; }

  // Turns the switch off, then reads ZUBRA_FIXED_SEED as a fresh process does.
  void Reset();

 private:
  GlobalOptions();

  // Applies ZUBRA_FIXED_SEED to the switch when it holds a recognised value.
  void ReadEnvironment() const;

  // Mutable: a const query may re-read the environment.
  mutable bool fixed_seed_ = false;
};

}  // namespace zubra
