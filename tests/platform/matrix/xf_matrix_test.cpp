#include "zubra/platform/matrix/xf_matrix.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace zubra {
namespace {

// A 2 x 2 matrix "Coding" with rows "a", "b", columns "x", "y" and cells 11, 12, 21, 22.
XFMatrix Named() {
  XFMatrix m("Coding", FMatrix{{11, 12}, {21, 22}});
  m.SetRowName(1, "a");
  m.SetRowName(2, "b");
  m.SetColName(1, "x");
  m.SetColName(2, "y");
  return m;
}

// The row names, then "|", then the column names.
std::vector<std::string> Names(const XFMatrix& m) {
  std::vector<std::string> names;
  for (int r = 1; r <= m.GetRows(); ++r) names.push_back(m.GetRowName(r));
  names.emplace_back("|");
  for (int c = 1; c <= m.GetCols(); ++c) names.push_back(m.GetColName(c));
  return names;
}

TEST(XFMatrix, ReshapingKeepsNamesWithTheirRowsAndColumns) {
  struct Row {
    const char* name;
    std::function<void(XFMatrix&)> reshape;
    std::vector<std::string> names;
    FMatrix values;
  };
  const std::vector<Row> rows = {
      {"grow both",
       [](XFMatrix& m) { m.Resize(3, 3, -1.0F); },
       {"a", "b", "", "|", "x", "y", ""},
       FMatrix{{11, 12, -1}, {21, 22, -1}, {-1, -1, -1}}},
      {"fewer rows, more columns",
       [](XFMatrix& m) { m.Resize(1, 3); },
       {"a", "|", "x", "y", ""},
       FMatrix{{11, 12, 0}}},
      {"append columns",
       [](XFMatrix& m) { EXPECT_EQ(m.AppendColumns(1, -99.0F), 3); },
       {"a", "b", "|", "x", "y", ""},
       FMatrix{{11, 12, -99}, {21, 22, -99}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    XFMatrix m = Named();
    row.reshape(m);
    EXPECT_EQ(Names(m), row.names);
    EXPECT_EQ(m.GetMatrix(), row.values);
    EXPECT_NE(m, Named());
  }
}

TEST(XFMatrix, FindsTheFirstExactlyNamedRowOrColumn) {
  XFMatrix m = Named();
  m.Resize(3, 2);
  m.SetRowName(3, "a");
  EXPECT_EQ(m.FindRow("a"), 1);
  EXPECT_EQ(m.FindRow("B"), 0);
  EXPECT_EQ(m.FindRow(""), 0);
  EXPECT_EQ(m.FindCol("y"), 2);
  m.SetColName(2, "Y");
  EXPECT_EQ(m.FindCol("y"), 0);
  EXPECT_NE(m.AsEigen()(0, 1), 0.0F);
  m.AsEigen()(0, 1) = 0.0F;
  EXPECT_EQ(m(1, 2), 0.0F);
}

}  // namespace
}  // namespace zubra
