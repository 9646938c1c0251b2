// Checks shared by the two constraint fuzz targets: constraints that were read write
// themselves out in both stored forms, and each form reads back to the same constraints.
#pragma once

#include <string>

#include "fuzz/fuzz_support.h"
#include "zubra/platform/matrix/f_vector.h"
#include "zubra/region/constraints_info.h"

namespace zubra::fuzz {

// A container over the fixture's variables holding one complete constraint, so that a
// refusal has something to leave alone.
inline ConstraintsInfo StartingConstraints() {
  ConstraintsInfo info(&Fixture().GetVariables());
  ConstraintsInfo::Constraint* constraint = info.AddConstraint(ConstraintsInfo::kLess);
  constraint->SetValue(info.GetIndex("Temperature"), 1.0);
  constraint->SetValue(info.GetIndex("Time"), 2.5);
  constraint->SetLimit(100.0);
  return info;
}

// Uses what was read as the design code would, then checks that the JSON table and the
// tab-separated file both carry it unchanged.
inline void CheckReadConstraints(const ConstraintsInfo& info) {
  static_cast<void>(info.IsValid());
  static_cast<void>(info.CreateConstraintMatrix());
  static_cast<void>(info.IsConstrained(FVector(info.NumValues(), 1.0F)));

  // The table writes a missing limit as an empty cell, which its reader refuses (a limit must
  // be a number there); such constraints are compared through the file only.
  const json_value table = info.ToJson();
  bool every_limit = true;
  for (int i = 1; i <= info.NumConstraints(); ++i) {
    every_limit = every_limit && !IsUndefined(info.GetConstraint(i)->GetLimit());
  }
  if (every_limit) {
    ConstraintsInfo from_table(info.GetVariables());
    try {
      from_table.FromJson(table);
    } catch (const Exception&) {
      Require(false, "a written constraint table does not read");
    }
    Require(from_table.ToJson() == table, "a written constraint table reads back different");
  }

  static const ScratchFile written(".constraints.txt");
  Require(info.Write(written.Path().c_str()), "constraints could not be written");
  // The written header leaves the operator column unnamed; name it to read the file back.
  std::string text = written.Read();
  const std::size_t header_end = text.find('\n');
  Require(header_end != std::string::npos && text.compare(header_end - 8, 8, "\t\tLimits") == 0,
          "the written header does not end with the operator and limit columns");
  text.replace(header_end - 8, 8, "\tOperator\tLimits");
  written.Write(text);
  ConstraintsInfo from_file(info.GetVariables());
  Require(from_file.Read(written.Path().c_str()), "a written constraint file does not read");
  Require(from_file.ToJson() == table, "a written constraint file reads back different");
}

}  // namespace zubra::fuzz
