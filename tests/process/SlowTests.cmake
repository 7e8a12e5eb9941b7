# ctest reads this file after the list of tests.
foreach(test IN LISTS process_tests_TESTS)
  if(test MATCHES "CutShortAtAnyByte|MemoryThatRunsOut")
    set_tests_properties("${test}" PROPERTIES LABELS slow)
  endif()
endforeach()
