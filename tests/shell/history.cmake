# The recent scans: what stands behind the list, and the list in the real (offscreen) window.
larkfold_test(recent_scans_model_tests
  SOURCES
    "${CMAKE_CURRENT_LIST_DIR}/kit/DateTextsTests.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/disk/RecentScansModelTests.cpp"
  LIBRARIES larkfold_test_support larkfold_shell_ui Qt6::Test
  LABELS shell)

larkfold_test(recent_scans_window_tests
  SOURCES "${CMAKE_CURRENT_LIST_DIR}/disk/RecentScansWindowTests.cpp" "${CMAKE_CURRENT_LIST_DIR}/app/WindowFixture.h"
  LIBRARIES larkfold_test_support larkfold_shell_ui larkfold_shell_uiplugin Qt6::Test
  LABELS shell)
