#include "zubra/platform/matrix/f_matrix.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "zubra/platform/matrix/f_vector.h"
#include "zubra/platform/matrix/nc_data_matrix.h"
#include "zubra/platform/matrix/xf_matrix.h"

namespace zubra {
namespace {

constexpr float kFill = -99.0F;
using Names = std::vector<std::string>;

// The value 10 * r + c that the numbered matrices hold in cell (r, c).
float Tag(int r, int c) { return static_cast<float>(10 * r + c); }

FMatrix Numbered(int rows, int cols) {
  FMatrix m(rows, cols);
  for (int r = 1; r <= rows; ++r) {
    for (int c = 1; c <= cols; ++c) m(r, c) = Tag(r, c);
  }
  return m;
}

TEST(FMatrix, OneBasedCellsMapToRowMajorStorage) {
  const FMatrix m = Numbered(3, 4);
  for (int r = 1; r <= 3; ++r) {
    for (int c = 1; c <= 4; ++c) {
      EXPECT_EQ(m.AsEigen()(r - 1, c - 1), Tag(r, c));
      EXPECT_EQ(m.GetRowData(r)[c - 1], Tag(r, c));
      EXPECT_EQ(m.GetRow(r)(c), Tag(r, c));
      EXPECT_EQ(m.GetColumn(c)(r), Tag(r, c));
    }
  }
}

// The zero-based data matrix must resize the same way and convert to and from FMatrix.
TEST(FMatrix, ResizeKeepsOverlappingCellsAndFillsNewOnesAsTheDataMatrixDoes) {
  const std::vector<std::pair<int, int>> shapes = {{5, 3}, {3, 6}, {2, 5}, {3, 2},
                                                   {5, 1}, {3, 0}, {0, 0}};
  for (const auto& [rows, cols] : shapes) {
    SCOPED_TRACE(testing::Message() << rows << " x " << cols);
    FMatrix m = Numbered(3, 3);
    NCDataMatrix<float> data = m.ToNCDataMatrix();
    m.Resize(rows, cols, kFill);
    data.Resize(rows, cols, kFill);
    ASSERT_EQ(std::make_pair(m.GetRows(), m.GetCols()), std::make_pair(rows, cols));
    ASSERT_EQ(std::make_pair(data.GetRows(), data.GetCols()), std::make_pair(rows, cols));
    for (int r = 1; r <= rows; ++r) {
      for (int c = 1; c <= cols; ++c) {
        const float expected = r <= 3 && c <= 3 ? Tag(r, c) : kFill;
        EXPECT_EQ(m(r, c), expected) << r << "," << c;
        EXPECT_EQ(data.GetRowData(r - 1)[c - 1], expected) << r << "," << c;
      }
    }
    EXPECT_EQ(FMatrix(data), m);
    EXPECT_EQ(m.ToNCDataMatrix(), data);
  }
}

TEST(FMatrix, AppendColumnsReturnsTheFirstNewColumn) {
  FMatrix m = Numbered(2, 2);
  EXPECT_EQ(m.AppendColumns(2, kFill), 3);
  EXPECT_EQ(m.AppendColumns(0, kFill), 5);
  EXPECT_EQ(m, (FMatrix{{11, 12, kFill, kFill}, {21, 22, kFill, kFill}}));
  m.SetRow(2, FVector{1, 2, 3, 4});
  m.SetColumn(4, FVector{-1, -2});
  EXPECT_EQ(m, (FMatrix{{11, 12, kFill, -1}, {1, 2, 3, -2}}));
}

TEST(FVector, ResizeKeepsLeadingElementsAndFillsTheTail) {
  FVector v{1, 2, 3};
  v.Resize(5, kFill);
  EXPECT_EQ(v, (FVector{1, 2, 3, kFill, kFill}));
  v.Resize(2);
  v.Append(7);
  EXPECT_EQ(v, (FVector{1, 2, 7}));
  EXPECT_EQ(v(3), 7.0F);
}

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
Names NamesOf(const XFMatrix& m) {
  Names names;
  for (int r = 1; r <= m.GetRows(); ++r) names.push_back(m.GetRowName(r));
  names.emplace_back("|");
  for (int c = 1; c <= m.GetCols(); ++c) names.push_back(m.GetColName(c));
  return names;
}

TEST(XFMatrix, ReshapingKeepsNamesWithTheirRowsAndColumns) {
  XFMatrix m = Named();
  m.Resize(3, 3, -1.0F);
  EXPECT_EQ(NamesOf(m), (Names{"a", "b", "", "|", "x", "y", ""}));
  EXPECT_EQ(m.GetMatrix(), (FMatrix{{11, 12, -1}, {21, 22, -1}, {-1, -1, -1}}));
  m = Named();
  m.Resize(1, 3);
  EXPECT_EQ(NamesOf(m), (Names{"a", "|", "x", "y", ""}));
  EXPECT_EQ(m.GetMatrix(), (FMatrix{{11, 12, 0}}));
  m = Named();
  EXPECT_EQ(m.AppendColumns(1, -99.0F), 3);
  EXPECT_EQ(NamesOf(m), (Names{"a", "b", "|", "x", "y", ""}));
  EXPECT_EQ(m.GetMatrix(), (FMatrix{{11, 12, -99}, {21, 22, -99}}));
}

TEST(XFMatrix, FindsTheFirstExactlyNamedRowOrColumnAndComparesNames) {
  XFMatrix m = Named();
  EXPECT_EQ(m, Named());
  m.SetColName(2, "Y");
  EXPECT_NE(m, Named());  // the same cells under another column name
  EXPECT_EQ(m.FindCol("y"), 0);
  EXPECT_EQ(m.FindCol("Y"), 2);
  m.Resize(3, 2);
  m.SetRowName(3, "a");
  EXPECT_EQ(m.FindRow("a"), 1);
  EXPECT_EQ(m.FindRow("B"), 0);
  EXPECT_EQ(m.FindRow(""), 0);
  // AsEigen is a view of the cells, 0-based.
  m.AsEigen()(0, 1) = 0.0F;
  EXPECT_EQ(m(1, 2), 0.0F);
}

#ifndef NDEBUG
TEST(FMatrixDeathTest, IndicesOutsideTheMatrixAssertInDebugBuilds) {
  FMatrix m(2, 3);
  FVector v(2);
  EXPECT_DEATH(m(0, 1), "");
  EXPECT_DEATH(m(3, 1), "");
  EXPECT_DEATH(m(1, 4), "");
  EXPECT_DEATH(v(3), "");
}
#endif

}  // namespace
}  // namespace zubra
