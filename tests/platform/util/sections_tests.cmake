# Configuration sections (XML and INI backends).
zubra_add_test_suite(zubra_sections_tests
  ${CMAKE_CURRENT_LIST_DIR}/atomic_file_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/configuration_section_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ini_file_section_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/key_value_list_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/tinyxml2_section_test.cpp)
