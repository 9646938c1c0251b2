// Loading sections from the test data folder, for the tests of sections and of the objects
// stored in them.
#pragma once

#include <memory>
#include <string>

#include "zubra/platform/util/configuration_section.h"
#include "zubra/platform/util/ini_file_section.h"
#include "zubra/platform/util/tinyxml2_section.h"

namespace zubra::test_support {

// The path of `name` in the test data folder.
inline std::string TestDataPath(const std::string& name) {
  return std::string(ZUBRA_TEST_DATA_DIR) + "/" + name;
}

// Loads the test data file `name` as an INI section when its name ends in ".ini", otherwise as
// an XML section. Throws what the backend's LoadFile throws.
inline std::unique_ptr<ConfigurationSection> LoadTestSection(const std::string& name) {
  const std::string path = TestDataPath(name);
  if (name.ends_with(".ini")) return IniFileSection::LoadFile(path);
  return TinyXML2Section::LoadFile(path);
}

}  // namespace zubra::test_support
