// One row of the worksheet: an ordered list of typed cells, one per factor and response.
#pragma once

#include <cstdint>
#include <istream>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "zubra/platform/base/undefined.h"

namespace zubra {

// A worksheet row: cells numbered from 1, factors first (in the variable set's factor order),
// then responses. Each cell is empty, a number (kUndefined, -99, marks a missing number) or a
// text. The row owns its cells; copies copy every cell.
//
// Positions given outside 1..GetNumValues() are ignored by the setters and RemoveValue, give
// kEmpty, kUndefined or "" from the getters and false from HasValue. InsertValue accepts
// 1..GetNumValues() + 1 (the last appends).
//
//   Run row(3);
//   row.SetUnformattedValue(1, "1.5");   // a number cell
//   row.SetUnformattedValue(2, "High");  // a text cell
//   row.SetUnformattedValue(3, "");      // a missing number: HasValue(3) is false
class Run {
 public:
  enum ValueType : std::int32_t { kEmpty = 0, kNumber = 1, kText = 2 };

  // One cell.
  class VariableValue {
   public:
    VariableValue() = default;
    explicit VariableValue(double value) { SetValue(value); }
    explicit VariableValue(const char* text) { SetValue(text); }

    // Makes the cell a number (kUndefined makes it a missing number); the text is cleared.
    void SetValue(double value);
    // Makes the cell a text (null is the empty text); the number becomes kUndefined.
    void SetValue(const char* text);
    [[nodiscard]] double GetFloatValue() const { return value_; }
    // A number cell prints its value with "%g" ("" when missing); a text cell gives its text;
    // an empty cell gives "".
    [[nodiscard]] std::string GetStringValue() const;
    [[nodiscard]] ValueType GetValueType() const { return type_; }
    // A number other than kUndefined, or a non-empty text.
    [[nodiscard]] bool HasValue() const;

    bool operator==(const VariableValue&) const = default;

   private:
    ValueType type_ = kEmpty;
    double value_ = kUndefined;
    std::string text_;
  };

  // A row of `n` empty cells (none for n <= 0).
  explicit Run(int n = 0);
  Run(const Run& other);
  Run& operator=(const Run& other);
  Run(Run&&) noexcept = default;
  Run& operator=(Run&&) noexcept = default;
  virtual ~Run() = default;

  void SetValue(int i, double value);
  void SetValue(int i, const char* text);
  // Sets cell i from user or file text: null or "" gives a missing number; a text that is
  // wholly a number (decimal point, blanks around it allowed, read locale-independently)
  // gives that number; any other text gives a text cell holding it unchanged.
  void SetUnformattedValue(int i, const char* text);
  void AddValue(double value);
  void AddValue(const char* text);
  // Inserts a cell before position i.
  void InsertValue(int i, double value);
  void InsertValue(int i, const char* text);
  void RemoveValue(int i);
  // Resizes the row to `n` cells, appending empty cells or dropping the last ones.
  void Resize(int n);

  [[nodiscard]] int GetNumValues() const { return static_cast<int>(values_.size()); }
  [[nodiscard]] ValueType GetValueType(int i) const;
  [[nodiscard]] double GetFloatValue(int i) const;
  [[nodiscard]] std::string GetStringValue(int i) const;
  [[nodiscard]] bool HasValue(int i) const;
  [[nodiscard]] int GetNumNonMissingValues() const;
  // The cell itself; null outside 1..GetNumValues().
  [[nodiscard]] const VariableValue* GetCell(int i) const;

  // Reads the rest of one line of `in`: the cells, one `separator`-delimited token each,
  // through SetUnformattedValue. Tokens beyond the row's cells are appended; cells beyond the
  // tokens are left as they are. A trailing CR is dropped. False when nothing could be read
  // (end of the stream).
  virtual bool Read(std::istream& in, char separator);
  // Writes the cells with `separator` between them (none after the last): a text cell its
  // text, a number its value with the stream's formatting, nothing for a missing number or
  // an empty cell. No line end is written.
  virtual void Write(std::ostream& out, char separator) const;

 protected:
  // Reads the cells from tokens already split off a line, starting at token `first`.
  void ReadTokens(const std::vector<std::string>& tokens, std::size_t first);
  void WriteCells(std::ostream& out, char separator) const;
  [[nodiscard]] VariableValue* Cell(int i);

 private:
  std::vector<std::unique_ptr<VariableValue>> values_;
};

}  // namespace zubra
