#include "zubra/region/constraints_info.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "zubra/platform/util/atomic_file.h"
#include "zubra/platform/util/exception.h"
#include "zubra/platform/util/kt_string.h"
#include "zubra/variables/factor_class.h"
#include "zubra/variables/variables.h"

namespace zubra {
namespace {

using CI = ConstraintsInfo;
using Coefficients = std::map<int, double>;  // value index -> coefficient
constexpr double kU = -99.0;                 // "not given", spelled out to check stored values

// A variable set from "name:kind" tokens: q quantitative, u uncontrolled quantitative,
// c qualitative with three settings, m formulation, f filler; "name~" is log-transformed.
Variables Set(const std::vector<std::string>& tokens) {
  Variables set;
  for (const std::string& token : tokens) {
    const char kind = token.back();
    std::string name = token.substr(0, token.size() - 2);
    auto factor = std::make_unique<FactorClass>();
    if (name.back() == '~') factor->SetTransform(Transform(TraData::kLog, 1.0, 0.0, kU));
    if (name.back() == '~') name.pop_back();
    factor->SetName(name);
    factor->SetAbbr(name);
    if (kind == 'c') factor->SetSettings({"a", "b", "c"}, CEType::kQualitative, CEUse::kControlled);
    if (kind == 'f') factor->SetValue(CEType::kFiller, CEUse::kControlled);
    if (kind == 'm') factor->SetValue(0.0, 1.0, CEType::kFormulation, true);
    if (kind == 'q' || kind == 'u') factor->SetValue(0.0, 10.0, CEType::kQuantitative, kind == 'q');
    // The name check would refuse a tab, which the writer must survive.
    EXPECT_EQ(set.Add(std::move(factor), name.find('\t') != std::string::npos), Variables::kOk);
  }
  return set;
}

// Value names A B Q M1 M2 F (indices 1..6); the uncontrolled U is not a constraint factor.
Variables MixedSet() { return Set({"A:q", "B:q", "U:u", "Q:c", "M1:m", "M2:m", "F:f"}); }
constexpr int kA = 1, kB = 2, kQ = 3, kM1 = 4, kM2 = 5, kF = 6;
Variables SmallSet() { return Set({"A:q", "B:q", "Q:c"}); }  // A B Q, indices as above

CI::Constraint* Add(CI& info, CI::ExcludeType type, const Coefficients& coefficients,
                    double limit) {
  CI::Constraint* constraint = info.AddConstraint(type);
  for (const auto& [index, value] : coefficients) EXPECT_TRUE(constraint->SetValue(index, value));
  constraint->SetLimit(limit);
  return constraint;
}

// "type limit | c1 c2 ..." of every constraint, "-" for a number not given.
std::string Describe(const CI& info) {
  auto number = [](double v) { return v == kU ? std::string("-") : KtString::FormatShortest(v); };
  std::string out;
  for (int i = 1; i <= info.NumConstraints(); ++i) {
    const CI::Constraint* c = info.GetConstraint(i);
    out += (i > 1 ? "; " : "") + std::to_string(c->GetExcludeType()) + " " + number(c->GetLimit()) +
           " |";
    for (int v = 1; v <= c->GetNumberOfValues(); ++v) out += " " + number(c->GetValue(v));
  }
  return out;
}

struct TempDir {
  std::filesystem::path dir =
      std::filesystem::temp_directory_path() / ("zubra_constraints_" + std::to_string(::getpid()));
  TempDir() { std::filesystem::create_directories(dir); }
  ~TempDir() { std::filesystem::remove_all(dir); }
  [[nodiscard]] std::string File(const std::string& name) const { return (dir / name).string(); }
};

TEST(ConstraintsInfo, ValueNamesAreTheControlledFactorsAndLookupIgnoresCase) {
  const Variables set = MixedSet();
  CI info(&set);
  std::string names;
  for (int i = 0; i <= info.NumValues() + 1; ++i) names += "[" + info.ValueName(i) + "]";
  EXPECT_EQ(names, "[][A][B][Q][M1][M2][F][]");
  const std::pair<const char*, int> lookups[] = {{"b", kB}, {"Q~", kQ},  {"m2", kM2},
                                                 {"F", kF}, {"U", -1},   {"", -1},
                                                 {"~", -1}, {"A~~", -1}, {"Zed", -1}};
  for (const auto& [name, index] : lookups) {
    EXPECT_EQ(info.GetIndex(name), index) << name;
  }
  EXPECT_EQ(CI(nullptr).NumValues(), 0);
  Add(info, CI::kLess, {}, 1);
  EXPECT_FALSE(info.HasAnyConstrains() || info.HasConstraints("A"));
  Add(info, CI::kLess, {{kF, 2}}, 1);  // the last value index
  EXPECT_TRUE(info.HasAnyConstrains() && info.HasConstraints("f"));
  EXPECT_FALSE(info.HasConstraints("A") || info.HasConstraints("U") || info.HasConstraints(""));
}

TEST(ConstraintsInfo, ValidityForbidsMixingMixtureAndProcessFactors) {
  const Variables set = MixedSet();
  CI info(&set);
  struct Row {
    const char* name;
    Coefficients coefficients;
    double limit;
    bool valid;
  };
  // clang-format off
  const std::vector<Row> rows = {
      {"formulation and quantitative", {{kM1, 1}, {kA, 1}}, 0.5, false},
      {"two formulation", {{kM1, 1}, {kM2, -2}}, 0.5, true},
      {"filler and formulation", {{kF, 1}, {kM1, 1}}, 0.5, true},
      {"filler and quantitative", {{kF, 1}, {kB, 1}}, 0.5, false},
      {"qualitative and formulation", {{kQ, 3}, {kM1, 1}}, 1, true},
      {"zero coefficient counts", {{kA, 0}}, 1, true}, {"no coefficient", {}, 1, false},
      {"no limit", {{kA, 1}}, kU, false}};
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CI::Constraint constraint(info.NumValues());
    for (const auto& [index, value] : row.coefficients) constraint.SetValue(index, value);
    constraint.SetLimit(row.limit);
    EXPECT_EQ(info.IsValid(&constraint), row.valid);
  }
  EXPECT_FALSE(info.IsValid(nullptr));
  // The whole set: valid with no constraints, invalid as soon as one is.
  const Variables empty;
  CI none(&empty);
  EXPECT_TRUE(none.IsValid() && info.IsValid());
  Add(none, CI::kLess, {}, 1.0);
  Add(info, CI::kLess, {{kA, 1}}, 1.0);
  EXPECT_TRUE(info.IsValid());
  Add(info, CI::kLess, {{kA, 1}, {kM1, 1}}, 1.0);
  EXPECT_FALSE(none.IsValid() || info.IsValid());
}

TEST(ConstraintsInfo, PointsOnTheLimitStayAndQualitativeCoefficientsDoNotCount) {
  const Variables set = MixedSet();
  // 1*A + 2*B against the limit; Q carries a coefficient that must not enter the sum (x(Q) = 1).
  struct Row {
    const char* name;
    CI::ExcludeType type;
    double limit;
    float a, b;
    bool excluded;
  };
  // clang-format off
  const std::vector<Row> rows = {
      {"< on the limit", CI::kLess, 10, 2, 4, false}, {"< just below", CI::kLess, 10, 2, 3.9F, true},
      {"> on the limit", CI::kGreater, 10, 6, 2, false},
      {"> just above", CI::kGreater, 10, 6, 2.1F, true},
      {"no operator", CI::kNoOperator, 10, 0, 0, false}, {"no limit", CI::kLess, kU, 0, 0, false},
      {"negative limit", CI::kGreater, -1, 0, -0.25F, true}};
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CI info(&set);
    Add(info, row.type, {{kA, 1}, {kB, 2}, {kQ, 5}}, row.limit);
    Add(info, CI::kGreater, {{kM1, 1}}, 100);  // never excludes
    FVector x(info.NumValues());
    x(kA) = row.a;
    x(kB) = row.b;
    x(kQ) = 1.0F;
    EXPECT_EQ(info.IsConstrained(x), row.excluded);
  }
  // A constraint on the qualitative factor alone compares the sum 0 with its limit.
  CI only_qualitative(&set);
  Add(only_qualitative, CI::kLess, {{kQ, 5}}, 3);
  EXPECT_TRUE(only_qualitative.IsConstrained(FVector(only_qualitative.NumValues())));
  // Whole matrices: the excluded rows are listed from 1; missing columns count as 0.
  const Variables small = SmallSet();
  CI info(&small);
  EXPECT_EQ(info.GetConstraintRows(nullptr), nullptr);
  const FMatrix points{{1, 1, 0}, {9, 9, 0}, {5, 0, 0}, {0, 0, 0}, {2, 4, 0}};
  EXPECT_EQ(*info.GetConstraintRows(&points), std::vector<int>{});
  Add(info, CI::kGreater, {{kA, 1}, {kB, 2}}, 10);  // 9,9 is out; 2,4 lies on the limit
  Add(info, CI::kLess, {{kA, 1}}, 0.5);             // the origin is out
  EXPECT_EQ(*info.GetConstraintRows(&points), (std::vector<int>{2, 4}));
  const FMatrix narrow{{0.25F}, {20}};
  EXPECT_EQ(*info.GetConstraintRows(&narrow), (std::vector<int>{1, 2}));
}

TEST(ConstraintsInfo, RowsAreBackTransformedAndWalkedByExpandedColumns) {
  // Slots: A (10Log(x)), U (uncontrolled), Q (three settings, two expanded columns), B.
  const Variables set = Set({"A~:q", "U:u", "Q:c", "B:q"});
  CI info(&set);
  ASSERT_EQ(info.NumValues(), 3);  // A Q B
  const auto log60 = static_cast<float>(std::log10(60.0));
  const auto log4 = static_cast<float>(std::log10(4.0));
  struct Row {
    const char* name;
    std::vector<float> row;
    bool transformed, expanded, excluded;
  };
  // Excluded when A + B > 10 on the original scale. U holds 100 and Q's columns hold 0, so
  // reading the wrong column shows.
  // clang-format off
  const std::vector<Row> rows = {
      {"plain inside", {4, 100, 0, 5}, false, false, false},
      {"plain outside", {6, 100, 0, 5}, false, false, true},
      {"transformed outside", {log60, 100, 0, 5}, true, false, true},
      {"transformed inside", {log4, 100, 0, 5}, true, false, false},
      {"transformed value read as is", {log60, 100, 0, 5}, false, false, false},
      {"expanded outside", {4, 100, 0, 0, 7}, false, true, true},
      {"expanded inside", {4, 100, 0, 0, 5}, false, true, false},
      {"expanded and transformed", {log60, 100, 0, 0, 1}, true, true, true}};
  // clang-format on
  EXPECT_FALSE(info.IsConstrained(rows[1].row.data(), set, false, false));  // no constraints
  Add(info, CI::kGreater, {{info.GetIndex("A"), 1}, {info.GetIndex("B"), 1}, {2, 50}}, 10);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(info.IsConstrained(row.row.data(), set, row.transformed, row.expanded), row.excluded);
  }
  EXPECT_FALSE(info.IsConstrained(nullptr, set, false, false));
}

TEST(ConstraintsInfo, ConstraintMatrixRowsAreOrientedAlike) {
  const Variables set = SmallSet();
  struct Made {
    CI::ExcludeType type;
    Coefficients coefficients;
    double limit;
  };
  struct Row {
    const char* name;
    std::vector<Made> constraints;
    std::optional<FMatrix> matrix;
  };
  // clang-format off
  const std::vector<Row> rows = {
      {"less than", {{CI::kLess, {{kA, 1}, {kB, 2}}, 10}}, FMatrix{{1, 2, -10}}},
      {"greater than", {{CI::kGreater, {{kA, 1}, {kB, 2}}, 10}}, FMatrix{{-1, -2, 10}}},
      {"no operator as greater", {{CI::kNoOperator, {{kB, 3}}, 1}}, FMatrix{{0, -3, 1}}},
      {"qualitative column left out", {{CI::kLess, {{kQ, 7}, {kA, 1}}, 2}}, FMatrix{{1, 0, -2}}},
      {"only qualitative takes no part", {{CI::kLess, {{kQ, 7}}, 2}, {CI::kGreater, {{kB, 1}}, 4}},
       FMatrix{{0, -1, 4}}},
      {"two rows in order", {{CI::kGreater, {{kA, 0.5}}, 1}, {CI::kLess, {{kA, 1}, {kB, -1}}, -3}},
       FMatrix{{-0.5F, 0, 1}, {1, -1, 3}}},
      {"nothing to write", {{CI::kLess, {{kQ, 1}}, 2}}, std::nullopt},
      {"no constraints", {}, std::nullopt}};
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CI info(&set);
    for (const Made& made : row.constraints) Add(info, made.type, made.coefficients, made.limit);
    const std::unique_ptr<FMatrix> matrix = info.CreateConstraintMatrix();
    ASSERT_EQ(matrix != nullptr, row.matrix.has_value());
    if (matrix) {
      EXPECT_TRUE(*matrix == *row.matrix) << matrix->AsEigen();
    }
  }
}

TEST(ConstraintsInfo, RemovingClosesTheGapAndRefusalsChangeNothing) {
  const Variables set = SmallSet();
  CI info(&set);
  CI other(&set);
  const CI::Constraint* foreign = Add(other, CI::kLess, {}, 0);
  const CI::Constraint* first = Add(info, CI::kLess, {}, 1);
  Add(info, CI::kLess, {}, 2);
  CI::Constraint* third = Add(info, CI::kLess, {}, 3);
  EXPECT_FALSE(info.RemoveConstraint(0) || info.RemoveConstraint(4) ||
               info.RemoveConstraint(foreign) || info.RemoveConstraint(nullptr));
  EXPECT_FALSE(third->SetValue(0, 1) || third->SetValue(4, 1) || third->SetValue(1, NAN) ||
               third->SetLimit(INFINITY) || third->SetExcludeType(CI::ExcludeType{3}));
  EXPECT_EQ(Describe(info), "1 1 | - - -; 1 2 | - - -; 1 3 | - - -");
  EXPECT_TRUE(info.RemoveConstraint(2));
  EXPECT_EQ(Describe(info), "1 1 | - - -; 1 3 | - - -");
  EXPECT_TRUE(info.RemoveConstraint(first));
  EXPECT_EQ(Describe(info), "1 3 | - - -");
  EXPECT_EQ(info.GetConstraint(2), nullptr);
}

TEST(ConstraintsInfo, JsonTableWritesEmptyStringsForMissingNumbersAndReadsBack) {
  const Variables set = SmallSet();
  CI info(&set);
  Add(info, CI::kLess, {{kA, 1}, {kB, 1.0 / 3.0}}, 1e-7);
  Add(info, CI::kGreater, {{kB, -0.125}}, kU);
  Add(info, CI::kNoOperator, {{kQ, 3}}, 0);
  const json_value expected = ParseJson(R"({
      "columns": ["A", "B", "Q", "Operator", "Limit"],
      "data": [[1.0, 0.3333333333333333, "", "<", 1e-7],
               ["", -0.125, "", ">", ""],
               ["", "", 3.0, ">", 0.0]]})");
  EXPECT_EQ(info.ToJson(), expected) << DumpJson(info.ToJson());
  // Read back (with a limit, which reading demands); no operator is written and read as ">".
  info.GetConstraint(2)->SetLimit(-0.3);
  CI back(&set);
  back.FromJson(ParseJson(DumpJson(info.ToJson())));
  EXPECT_EQ(Describe(back), "1 1e-07 | 1 0.3333333333333333 -; 2 -0.3 | - -0.125 -; 2 0 | - - 3");
}

TEST(ConstraintsInfo, JsonReadingReportsBadTablesAndKeepsEarlierRows) {
  const Variables set = SmallSet();
  const std::string kMissing = "Parse error. Constraint operator and/or limits columns missing.";
  const std::string kLimit = "Parse error. Constraint limit value should be a number.";
  const std::string kBefore = "2 5 | 1 - -";  // what the container held before
  struct Row {
    const char* name;
    std::string json;
    std::string error;  // empty: no error
    std::string after;  // Describe() afterwards
  };
  const std::string kHead = R"({"columns": ["A", "Operator", "Limit"], "data": )";
  // clang-format off
  const std::vector<Row> rows = {
      {"not an object", "[1, 2]", kMissing, kBefore},
      {"no columns", R"({"data": []})", kMissing, kBefore},
      {"no operator column", R"({"columns": ["A", "Limit"], "data": []})", kMissing, kBefore},
      {"no limit column", R"({"columns": ["A", "Operator", "Limits"], "data": []})", kMissing, kBefore},
      {"limit text in second row", kHead + R"([[1, "<", 2], [2, ">", "3"], [3, "<", 4]]})", kLimit,
       "1 2 | 1 - -"},
      {"limit empty string", kHead + R"([[1, "<", ""]]})", kLimit, ""},
      {"short row", kHead + R"([[1, "<"]]})", kLimit, ""},
      {"any column order and case, unknown ignored",
       R"({"columns": ["Limit", "Zed", "b", "Operator", "A"], "data": [[7, 99, 2, ">", 1]]})", "",
       "2 7 | 1 2 -"},
      {"empty string and text coefficients, unknown operator",
       R"({"columns": ["A", "B", "Q", "Operator", "Limit"], "data": [["", "x", 0, "=", -1]]})", "",
       "0 -1 | - - 0"}};
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CI info(&set);
    Add(info, CI::kGreater, {{kA, 1}}, 5);
    try {
      info.FromJson(ParseJson(row.json));
      EXPECT_EQ(row.error, "");
    } catch (const Exception& e) {
      EXPECT_EQ(e.what(), row.error);
    }
    EXPECT_EQ(Describe(info), row.after);
  }
}

TEST(ConstraintsInfo, TextFileLayoutAndRoundTrip) {
  TempDir temp;
  const Variables set = MixedSet();
  CI info(&set);
  Add(info, CI::kLess, {{kA, 0.1}, {kB, 1.0 / 3.0}}, 10);
  Add(info, CI::kGreater, {{kM1, -1e-7}, {kF, 4.5e12}}, kU);
  Add(info, CI::kNoOperator, {{kQ, 1}}, -2.5);
  const std::string path = temp.File("c.txt");
  ASSERT_TRUE(info.Write(path.c_str()));
  const std::string written = ReadWholeFile(path);
  EXPECT_EQ(written,
            "Inc/Excl\tA\tB\tQ\tM1\tM2\tF\t\tLimits\n"
            "Excl\t0.1\t0.3333333333333333\t\t\t\t\t<\t10\n"
            "Excl\t\t\t\t-1e-07\t\t4.5e+12\t>\t\n"
            "Excl\t\t\t1\t\t\t\t>\t-2.5\n");
  CI back(&set);
  EXPECT_FALSE(back.Read(path.c_str()));  // the writer leaves the operator header empty
  std::string text = written;
  WriteFileAtomically(path, text.replace(text.find("\t\tLimits"), 8, "\tOperator\tLimits"));
  ASSERT_TRUE(back.Read(path.c_str()));
  ASSERT_EQ(back.NumConstraints(), 3);
  for (int i = 1; i <= 2; ++i) EXPECT_TRUE(*back.GetConstraint(i) == *info.GetConstraint(i)) << i;
  EXPECT_EQ(back.GetConstraint(3)->GetExcludeType(), CI::kGreater);

  EXPECT_FALSE(info.Write(temp.File("missing/c.txt").c_str()) || info.Write(nullptr));
  // A name that would break the layout is refused, and the file on disk stays as it was.
  const Variables odd = Set({"Tab\tbed:q"});
  EXPECT_FALSE(CI(&odd).Write(path.c_str()));
  EXPECT_EQ(ReadWholeFile(path), text);
}

TEST(ConstraintsInfo, ReadAcceptsWhatEditorsWriteAndRefusesBadFilesWhole) {
  TempDir temp;
  const Variables set = SmallSet();
  struct Row {
    const char* name;
    std::optional<std::string> content;  // nullopt: no file at all
    std::optional<std::string> after;    // nullopt: refused, nothing changes
  };
  const std::string kHead = "A\tOperator\tLimit\n";
  // clang-format off
  const std::vector<Row> rows = {
      {"crlf and byte-order mark",
       "\xEF\xBB\xBFInc/Excl\tA\tB\tOperator\tLimit\r\nExcl\t1\t\t>\t3\r\n", "2 3 | 1 - -"},
      {"old mac line ends", "A\tOperator\tLimit\r1\t<\t2\r", "1 2 | 1 - -"},
      {"blank lines after the header skipped", kHead + "\n1\t<\t2\n \t\t\n\n3\t>\t4\n\n", "1 2 | 1 - -; 2 4 | 3 - -"},
      {"blank first line", "\n" + kHead + "1\t<\t2\n", std::nullopt},
      {"blank first line of tabs", "\t\t\n" + kHead + "1\t<\t2\n", std::nullopt},
      {"byte-order mark and a blank first line", "\xEF\xBB\xBF\r\n" + kHead + "1\t<\t2\n", std::nullopt},
      {"ragged rows", "A\tB\tOperator\tLimit\n1\n\t2\t>\n5\t6\t<\t7\textra\tcells\n",
       "0 - | 1 - -; 2 - | - 2 -; 1 7 | 5 6 -"},
      {"decimal comma and blanks", "A\tOperator\tLimits\n 1,5 \t < \t-2,25\n", "1 -2.25 | 1.5 - -"},
      {"header case and order", " limits \tb\tZed\tOPERATOR\n8\t2\tnot a number\t>\n", "2 8 | - 2 -"},
      {"unknown operator", kHead + "1\t<=\t2\n", "0 2 | 1 - -"},
      {"no file", std::nullopt, std::nullopt}, {"empty file", "", std::nullopt},
      {"byte-order mark and blank lines only", "\xEF\xBB\xBF\r\n\n \t\n", std::nullopt},
      {"header without Operator", "Inc/Excl\tA\tB\t\tLimits\nExcl\t1\t2\t<\t10\n", std::nullopt},
      {"header without Limits", "A\tOperator\tLimitz\n1\t<\t2\n", std::nullopt},
      {"limit not a number", kHead + "1\t<\t2\n1\t<\tten\n", std::nullopt},
      {"coefficient not a number", kHead + "1\t<\t2\n1x\t<\t3\n", std::nullopt},
      {"thousands separator", kHead + "1.000,5\t<\t3\n", std::nullopt}};
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const std::string path = temp.File(row.content ? "in.txt" : "absent.txt");
    if (row.content) WriteFileAtomically(path, *row.content);
    CI info(&set);
    Add(info, CI::kGreater, {{kQ, 9}}, 9);
    EXPECT_EQ(info.Read(path.c_str()), row.after.has_value());
    EXPECT_EQ(Describe(info), row.after.value_or("2 9 | - - 9"));
  }
  CI info(&set);
  EXPECT_FALSE(info.Read(nullptr) || info.Read(temp.dir.string().c_str()));  // a folder
}

}  // namespace
}  // namespace zubra
