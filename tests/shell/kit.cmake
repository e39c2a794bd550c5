# What every tab builds on.
larkfold_test(kit_tests
  SOURCES
    "${CMAKE_CURRENT_LIST_DIR}/kit/FigureTextsTests.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/kit/Main.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/kit/PathActionsTests.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/kit/SectionListModelTests.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/kit/SectionRowsTests.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/kit/ThrottleTests.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/kit/TypeAheadTests.cpp"
  LIBRARIES larkfold_test_support larkfold_shell_ui Qt6::Test
  LABELS shell)
