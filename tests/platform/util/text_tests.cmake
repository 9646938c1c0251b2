# Exceptions, JSON, text helpers, HTML escaping, ids, name validation.
zubra_add_test_suite(zubra_util_tests
  ${CMAKE_CURRENT_LIST_DIR}/exception_test.cpp)
