# Read by ctest after the list of tests.
foreach(test IN LISTS process_tests_TESTS)
  if(test MATCHES "SixteenWriters|WithoutTheLock|CutShortAtAnyByte|MemoryThatRunsOut")
    set_tests_properties("${test}" PROPERTIES LABELS slow)
  endif()
endforeach()
