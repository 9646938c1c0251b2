#include "zubra/model/read_inclusions.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zubra/variables/factor_class.h"
#include "zubra/variables/variables.h"

namespace zubra {
namespace {

namespace fs = std::filesystem;

struct Scratch {
  fs::path dir = fs::temp_directory_path() / ("zubra_inclusions_" + std::to_string(::getpid()));
  Scratch() { fs::create_directories(dir); }
  ~Scratch() { fs::remove_all(dir); }
  [[nodiscard]] std::string Write(const std::string& content) const {
    std::ofstream(dir / "in.txt", std::ios::binary) << content;
    return (dir / "in.txt").string();
  }
};

// Temp (controlled), Cat (A, B, C coded (-1, -1), (1, 0), (0, 1)), Speed (uncontrolled, not
// read) and the response Yield.
Variables InclusionSet() {
  Variables set;
  auto factor = [&set](const char* name, CEType::EType type, bool controlled) {
    auto f = std::make_unique<FactorClass>();
    f->SetName(name);
    f->SetAbbr(std::string(1, name[0]));
    if (type == CEType::kQualitative) f->SetSettings({"A", "B", "C"}, type, CEUse::kControlled);
    if (type != CEType::kQualitative) f->SetValue(1.0, 80.0, type, controlled);
    EXPECT_EQ(set.Add(std::move(f)), Variables::kOk);
  };
  factor("Temp", CEType::kQuantitative, true);
  factor("Cat", CEType::kQualitative, true);
  factor("Speed", CEType::kQuantitative, false);
  auto yield = std::make_unique<ResponseClass>();
  yield->SetName("Yield");
  yield->SetAbbr("Y");
  EXPECT_EQ(set.Add(std::move(yield)), Variables::kOk);
  return set;
}

const std::string kHeading = "Temp\tCat\tSpeed\tYield\n";
const std::string kInconsistent =
    "The file '@' is not consistent with the current defined factors and responses. The first "
    "row in the file should be a row heading containing the factor and response names in the "
    "same order as in the worksheet.";

TEST(ReadInclusions, EveryFailureGivesItsMessageAndNoMatrix) {
  struct Row {
    const char* name;
    std::optional<std::string> content;  // nullopt: the path named below, no file written
    std::string message;                 // '@' stands for the path
    const char* path = nullptr;          // relative to the scratch folder; "-": a null path
    bool no_variables = false;
  };
  const std::vector<Row> rows = {
      {"heading one column short", "Temp\tCat\tSpeed\n", kInconsistent},
      {"heading one column long", "Temp\tCat\tSpeed\tYield\t\n", kInconsistent},
      {"no variable set", kHeading, kInconsistent, nullptr, true},
      {"name in another case", "Temp\tCat\tspeed\tYield\n",
       kInconsistent + " Expected 'Speed' but found 'speed' in column 3."},
      {"setting in another case", kHeading + "25\tb\t1\t2\n",
       "There were problems reading the qualitative factor 'Cat' in the file '@'. The factor "
       "setting 'b' in row 1 in the file didn't match a valid factor setting as defined for the "
       "factor."},
      {"rows count blank lines", kHeading + "25\tA\t1\t2\n\n30\tA\t\t\n40x\tB\n",
       "A value other than a number was found in row 4 for the factor 'Temp' in the file '@'."},
      {"short row before a design factor", kHeading + "25\n",
       "Row 1 in the file '@' has no value for the factor 'Cat' in column 2."},
      {"missing file", std::nullopt, "The file '@' does not exist.", "missing.txt"},
      {"null path", std::nullopt, "The file '' does not exist.", "-"},
      {"a folder", std::nullopt, "The file '@' could not be opened.", ""},
  };
  Scratch scratch;
  Variables set = InclusionSet();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const std::string path =
        row.content ? scratch.Write(*row.content) : (scratch.dir / row.path).string();
    const char* c_path = row.path && row.path == std::string("-") ? nullptr : path.c_str();
    Variables* variables = row.no_variables ? nullptr : &set;
    std::string message = "stale";
    EXPECT_EQ(ReadInclusions(c_path, variables, &message), nullptr);
    std::string expected = row.message;
    if (const auto at = expected.find('@'); at != std::string::npos) expected.replace(at, 1, path);
    EXPECT_EQ(message, expected);
    EXPECT_EQ(ReadInclusions(c_path, variables, nullptr), nullptr);
  }
  EXPECT_EQ(set.GetVariableCount(), 4);
}

TEST(ReadInclusions, ReadsDesignFactorColumnsOfARealisticFile) {
  struct Row {
    const char* name;
    std::string content;
    std::vector<std::vector<float>> cells;  // Temp, Cat column 1, Cat column 2
  };
  const std::vector<Row> rows = {
      {"only the heading", kHeading, {}},
      {"plain runs",
       kHeading + "25\tA\t1.5\t80\n60.5\tC\tn/a\t\n-1e1\tB\t3\t70\n",
       {{25, -1, -1}, {60.5F, 0, 1}, {-10, 1, 0}}},
      {"byte-order mark, CR LF and blank lines",
       "\xEF\xBB\xBFTemp\tCat\tSpeed\tYield\r\n25\tB\t1\t2\r\n\r\n \t \r\n30\tA\t\t\r\n\r\n",
       {{25, 1, 0}, {30, -1, -1}}},
      {"short rows and extra fields",
       kHeading + "25\tC\n35\tB\t1\t2\textra\n",
       {{25, 0, 1}, {35, 1, 0}}},
  };
  Scratch scratch;
  Variables set = InclusionSet();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::string message = "stale";
    const auto matrix = ReadInclusions(scratch.Write(row.content).c_str(), &set, &message);
    ASSERT_NE(matrix, nullptr) << message;
    EXPECT_EQ(message, "");
    EXPECT_EQ(matrix->GetName(), "Inclusions");
    ASSERT_EQ(matrix->GetRows(), static_cast<int>(row.cells.size()));
    ASSERT_EQ(matrix->GetCols(), 3);
    EXPECT_EQ(matrix->GetColName(1) + matrix->GetColName(2), "TempCat");
    for (int r = 1; r <= matrix->GetRows(); ++r) {
      for (int c = 1; c <= 3; ++c) EXPECT_EQ((*matrix)(r, c), row.cells[r - 1][c - 1]) << r << c;
    }
  }
}

}  // namespace
}  // namespace zubra
