// The cost of reading a worksheet, counted in heap allocations: a count is exact and the same
// on every run, so the test can hold the readers to linear cost without timing anything.
// This executable replaces the global operator new to do the counting.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>

#include "zubra/platform/util/json.h"
#include "zubra/variables/factor_class.h"
#include "zubra/variables/variables.h"
#include "zubra/worksheet/worksheet_info.h"

namespace {

std::size_t g_allocations = 0;
bool g_counting = false;

}  // namespace

// The replacements pair malloc with free; GCC cannot tell that once it inlines them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size) {
  if (g_counting) ++g_allocations;
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }
#pragma GCC diagnostic pop

namespace zubra {
namespace {

// Temp (quantitative), Cat (qualitative A, B) and the response Yield.
Variables ThreeVariables() {
  Variables set;
  auto temp = std::make_unique<FactorClass>();
  temp->SetName("Temp");
  temp->SetAbbr("Temp");
  temp->SetValue(10.0, 30.0, CEType::kQuantitative, true);
  EXPECT_EQ(set.Add(std::move(temp)), Variables::kOk);
  auto cat = std::make_unique<FactorClass>();
  cat->SetName("Cat");
  cat->SetAbbr("Cat");
  cat->SetSettings({"A", "B"}, CEType::kQualitative, CEUse::kControlled);
  EXPECT_EQ(set.Add(std::move(cat)), Variables::kOk);
  auto yield = std::make_unique<ResponseClass>();
  yield->SetName("Yield");
  yield->SetAbbr("Y");
  EXPECT_EQ(set.Add(std::move(yield)), Variables::kOk);
  return set;
}

// `rows` experiments numbered from the top down, each with every cell filled.
std::string SheetText(int rows) {
  std::string text = "ExpNo\tExpName\tRunOrder\tInOut\tTemp\tCat\tYield\n";
  for (int i = 0; i < rows; ++i) {
    const std::string number = std::to_string(rows - i);
    for (const std::string& field :
         {number, "Run " + number, std::to_string(i + 1), std::string("In"),
          std::to_string(10 + i % 21), std::string(i % 2 == 0 ? "A" : "B")}) {
      text.append(field).append("\t");
    }
    text.append(std::to_string(i)).append(".5\n");
  }
  return text;
}

TEST(WorksheetLoading, AllocationsPerRowDoNotGrowWithTheRowCount) {
  const Variables set = ThreeVariables();
  struct Row {
    const char* name;
    // Reads a worksheet of `rows` rows into `sheet`; only the reading is counted.
    std::size_t (*load)(WorksheetInfo& sheet, int rows);
  };
  const Row rows[] = {
      {"text",
       [](WorksheetInfo& sheet, int count) {
         const std::string text = SheetText(count);
         g_allocations = 0;
         g_counting = true;
         const bool read = sheet.FromText(text);
         g_counting = false;
         EXPECT_TRUE(read);
         return g_allocations;
       }},
      {"json",
       [](WorksheetInfo& sheet, int count) {
         WorksheetInfo source(sheet);
         EXPECT_TRUE(source.FromText(SheetText(count)));
         const json_value json = ParseJson(DumpJson(source.ToJson()));
         g_allocations = 0;
         g_counting = true;
         sheet.FromJson(json);
         g_counting = false;
         return g_allocations;
       }},
  };
  constexpr int kSmall = 500;
  constexpr int kLarge = 4000;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    WorksheetInfo small(&set);
    const double per_row_small = static_cast<double>(row.load(small, kSmall)) / kSmall;
    WorksheetInfo large(&set);
    const double per_row_large = static_cast<double>(row.load(large, kLarge)) / kLarge;
    ASSERT_EQ(large.GetExperimentCount(), kLarge);
    EXPECT_EQ(large.GetPosition(1), kLarge);
    // A cost per row that grows with the row count is a quadratic reader.
    EXPECT_LT(per_row_large, 1.2 * per_row_small)
        << per_row_small << " allocations per row for " << kSmall << " rows, " << per_row_large
        << " for " << kLarge;
  }
}

}  // namespace
}  // namespace zubra
