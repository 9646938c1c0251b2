# Exceptions, JSON, text helpers, HTML escaping, ids, name validation.
zubra_add_test_suite(zubra_util_tests
  ${CMAKE_CURRENT_LIST_DIR}/exception_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/html_utilities_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/json_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/kt_string_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/unique_id_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/variable_name_validator_test.cpp)
