# Read by ctest after the discovered tests: the large-input tests take
# minutes, so they carry the label "limits" (left out with ctest -LE limits)
# and a time limit of their own.
if(e2e_limits_test_TESTS)
  set_tests_properties(${e2e_limits_test_TESTS} PROPERTIES LABELS limits TIMEOUT 1800)
endif()
