#include "zubra/platform/matrix/f_matrix.h"

#include <gtest/gtest.h>

#include <vector>

#include "zubra/platform/matrix/f_vector.h"
#include "zubra/platform/matrix/nc_data_matrix.h"

namespace zubra {
namespace {

constexpr float kFill = -99.0F;

struct Shape {
  const char* name;
  int rows;
  int cols;
};

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

TEST(FMatrix, ResizeKeepsOverlappingCellsAndFillsNewOnes) {
  const std::vector<Shape> shapes = {{"more rows", 5, 3},
                                     {"more columns", 3, 6},
                                     {"fewer rows, more columns", 2, 5},
                                     {"fewer columns", 3, 2},
                                     {"more rows, fewer columns", 5, 1},
                                     {"empty", 0, 0}};
  for (const Shape& shape : shapes) {
    SCOPED_TRACE(shape.name);
    FMatrix m = Numbered(3, 3);
    m.Resize(shape.rows, shape.cols, kFill);
    ASSERT_EQ(m.GetRows(), shape.rows);
    ASSERT_EQ(m.GetCols(), shape.cols);
    for (int r = 1; r <= shape.rows; ++r) {
      for (int c = 1; c <= shape.cols; ++c) {
        EXPECT_EQ(m(r, c), r <= 3 && c <= 3 ? Tag(r, c) : kFill) << r << "," << c;
      }
    }
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

TEST(FMatrix, ConvertsToAndFromTheZeroBasedDataMatrix) {
  const std::vector<Shape> shapes = {
      {"tall", 4, 2}, {"wide", 2, 5}, {"no columns", 3, 0}, {"empty", 0, 0}};
  for (const Shape& shape : shapes) {
    SCOPED_TRACE(shape.name);
    NCDataMatrix<float> data(shape.rows, shape.cols);
    for (int r = 0; r < shape.rows; ++r) {
      for (int c = 0; c < shape.cols; ++c) data(r, c) = Tag(r, c);
    }
    const FMatrix m(data);
    ASSERT_EQ(m.GetRows(), shape.rows);
    ASSERT_EQ(m.GetCols(), shape.cols);
    for (int r = 0; r < shape.rows; ++r) {
      for (int c = 0; c < shape.cols; ++c) EXPECT_EQ(m(r + 1, c + 1), Tag(r, c));
    }
    EXPECT_EQ(m.ToNCDataMatrix(), data);
  }
}

TEST(NCDataMatrix, ResizeKeepsCellsAtTheirZeroBasedPosition) {
  const std::vector<Shape> shapes = {
      {"wider", 2, 4}, {"narrower", 2, 1}, {"taller", 4, 3}, {"empty", 0, 0}};
  for (const Shape& shape : shapes) {
    SCOPED_TRACE(shape.name);
    NCDataMatrix<float> data(2, 3);
    for (int r = 0; r < 2; ++r) {
      for (int c = 0; c < 3; ++c) data(r, c) = Tag(r, c);
    }
    data.Resize(shape.rows, shape.cols, kFill);
    ASSERT_EQ(data.GetRows(), shape.rows);
    ASSERT_EQ(data.GetCols(), shape.cols);
    for (int r = 0; r < shape.rows; ++r) {
      for (int c = 0; c < shape.cols; ++c) {
        EXPECT_EQ(data.GetRowData(r)[c], r < 2 && c < 3 ? Tag(r, c) : kFill) << r << "," << c;
      }
    }
  }
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
