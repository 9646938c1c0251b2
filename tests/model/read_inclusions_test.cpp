#include "zubra/model/read_inclusions.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "zubra/variables/factor_class.h"
#include "zubra/variables/variables.h"

namespace zubra {
namespace {

namespace fs = std::filesystem;

// A scratch folder of this process, removed with everything in it.
class Scratch {
 public:
  Scratch() : dir_(fs::temp_directory_path() / ("zubra_inclusions_" + std::to_string(::getpid()))) {
    fs::create_directories(dir_);
  }
  ~Scratch() {
    std::error_code ignored;
    fs::remove_all(dir_, ignored);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  // Writes `content` byte for byte into the file `name` and returns its path.
  std::string Write(const std::string& name, const std::string& content) const {
    const fs::path path = dir_ / name;
    std::ofstream out(path, std::ios::binary);
    out << content;
    return path.string();
  }
  [[nodiscard]] std::string Dir() const { return dir_.string(); }

 private:
  fs::path dir_;
};

// Temp (controlled, 20..80), Cat (controlled; A, B, C coded (-1, -1), (1, 0), (0, 1)),
// Speed (uncontrolled, not a design factor) and the response Yield.
Variables InclusionSet() {
  Variables set;
  auto temp = std::make_unique<FactorClass>();
  temp->SetName("Temp");
  temp->SetAbbr("T");
  temp->SetValue(20.0, 80.0, CEType::kQuantitative, true);
  auto cat = std::make_unique<FactorClass>();
  cat->SetName("Cat");
  cat->SetAbbr("C");
  cat->SetSettings({"A", "B", "C"}, CEType::kQualitative, CEUse::kControlled);
  auto speed = std::make_unique<FactorClass>();
  speed->SetName("Speed");
  speed->SetAbbr("S");
  speed->SetValue(1.0, 5.0, CEType::kQuantitative, false);
  auto yield = std::make_unique<ResponseClass>();
  yield->SetName("Yield");
  yield->SetAbbr("Y");
  EXPECT_EQ(set.Add(std::move(temp)), Variables::kOk);
  EXPECT_EQ(set.Add(std::move(cat)), Variables::kOk);
  EXPECT_EQ(set.Add(std::move(speed)), Variables::kOk);
  EXPECT_EQ(set.Add(std::move(yield)), Variables::kOk);
  return set;
}

const char* const kHeading = "Temp\tCat\tSpeed\tYield\n";
const char* const kInconsistent =
    "The file '{path}' is not consistent with the current defined factors and responses. The "
    "first row in the file should be a row heading containing the factor and response names in "
    "the same order as in the worksheet.";

std::string Fill(std::string text, const std::string& path) {
  const std::string key = "{path}";
  for (std::size_t at = text.find(key); at != std::string::npos; at = text.find(key)) {
    text.replace(at, key.size(), path);
  }
  return text;
}

TEST(ReadInclusions, EveryFailureGivesItsMessageAndNoMatrix) {
  struct Row {
    const char* name;
    std::string content;
    std::string message;  // "{path}" stands for the file's path
  };
  const std::string inconsistent = kInconsistent;
  const std::vector<Row> rows = {
      {"heading one column short", "Temp\tCat\tSpeed\n", inconsistent},
      {"heading one column long", "Temp\tCat\tSpeed\tYield\t\n", inconsistent},
      {"empty file", "", inconsistent},
      {"third name differs", "Temp\tCat\tSpeedy\tYield\n",
       inconsistent + " Expected 'Speed' but found 'Speedy' in column 3."},
      {"name in another case", "temp\tCat\tSpeed\tYield\n",
       inconsistent + " Expected 'Temp' but found 'temp' in column 1."},
      {"setting in another case", std::string(kHeading) + "25\tb\t1\t2\n",
       "There were problems reading the qualitative factor 'Cat' in the file '{path}'. The "
       "factor setting 'b' in row 1 in the file didn't match a valid factor setting as defined "
       "for the factor."},
      {"text in a numeric column", std::string(kHeading) + "abc\tA\t1\t2\n",
       "A value other than a number was found in row 1 for the factor 'Temp' in the file "
       "'{path}'."},
      {"rows count blank lines", std::string(kHeading) + "25\tA\t1\t2\n\n30\tA\t\t\n40x\tB\n",
       "A value other than a number was found in row 4 for the factor 'Temp' in the file "
       "'{path}'."},
      {"short row before a design factor", std::string(kHeading) + "25\n",
       "Row 1 in the file '{path}' has no value for the factor 'Cat' in column 2."},
  };
  Scratch scratch;
  Variables set = InclusionSet();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const std::string path = scratch.Write("bad.txt", row.content);
    std::string message = "stale";
    EXPECT_EQ(ReadInclusions(path.c_str(), &set, &message), nullptr);
    EXPECT_EQ(message, Fill(row.message, path));
    EXPECT_EQ(ReadInclusions(path.c_str(), &set, nullptr), nullptr);
  }
  EXPECT_EQ(set.GetVariableCount(), 4);
}

TEST(ReadInclusions, MissingOrUnreadableFilesAreReported) {
  Scratch scratch;
  Variables set = InclusionSet();
  std::string message;
  const std::string missing = scratch.Dir() + "/missing.txt";
  EXPECT_EQ(ReadInclusions(missing.c_str(), &set, &message), nullptr);
  EXPECT_EQ(message, "The file '" + missing + "' does not exist.");
  // A folder exists but can't be read as a file.
  EXPECT_EQ(ReadInclusions(scratch.Dir().c_str(), &set, &message), nullptr);
  EXPECT_EQ(message, "The file '" + scratch.Dir() + "' could not be opened.");
  EXPECT_EQ(ReadInclusions(nullptr, &set, &message), nullptr);
  EXPECT_EQ(message, "The file '' does not exist.");
  // Without a variable set no heading matches.
  const std::string path = scratch.Write("heading.txt", kHeading);
  EXPECT_EQ(ReadInclusions(path.c_str(), nullptr, &message), nullptr);
  EXPECT_EQ(message, Fill(kInconsistent, path));
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
       std::string(kHeading) + "25\tA\t1.5\t80\n60.5\tC\tn/a\t\n-1e1\tB\t3\t70\n",
       {{25.0F, -1.0F, -1.0F}, {60.5F, 0.0F, 1.0F}, {-10.0F, 1.0F, 0.0F}}},
      {"byte-order mark, CR LF and blank lines",
       "\xEF\xBB\xBFTemp\tCat\tSpeed\tYield\r\n25\tB\t1\t2\r\n\r\n \t \r\n30\tA\t\t\r\n\r\n",
       {{25.0F, 1.0F, 0.0F}, {30.0F, -1.0F, -1.0F}}},
      {"short rows and extra fields",
       std::string(kHeading) + "25\tC\n35\tB\t1\t2\textra\n",
       {{25.0F, 0.0F, 1.0F}, {35.0F, 1.0F, 0.0F}}},
  };
  Scratch scratch;
  Variables set = InclusionSet();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const std::string path = scratch.Write("runs.txt", row.content);
    std::string message = "stale";
    const std::unique_ptr<XFMatrix> matrix = ReadInclusions(path.c_str(), &set, &message);
    ASSERT_NE(matrix, nullptr) << message;
    EXPECT_EQ(message, "");
    EXPECT_EQ(matrix->GetName(), "Inclusions");
    ASSERT_EQ(matrix->GetRows(), static_cast<int>(row.cells.size()));
    ASSERT_EQ(matrix->GetCols(), 3);
    EXPECT_EQ(matrix->GetColName(1), "Temp");
    EXPECT_EQ(matrix->GetColName(2), "Cat");
    for (int r = 1; r <= matrix->GetRows(); ++r) {
      for (int c = 1; c <= 3; ++c) {
        EXPECT_EQ((*matrix)(r, c), row.cells[r - 1][c - 1]) << "cell " << r << "," << c;
      }
    }
  }
}

}  // namespace
}  // namespace zubra
