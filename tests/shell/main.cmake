# The frame of the window: permissions, the presenter's texts, and the real window (offscreen) with its flows.
larkfold_test(permission_manager_tests
  SOURCES "${CMAKE_CURRENT_LIST_DIR}/app/PermissionManagerTests.cpp"
  LIBRARIES larkfold_test_support larkfold_shell_ui Qt6::Test
  LABELS shell)

larkfold_test(presenter_tests
  SOURCES "${CMAKE_CURRENT_LIST_DIR}/disk/PresenterTests.cpp"
  LIBRARIES larkfold_test_support larkfold_shell_ui Qt6::Test
  LABELS shell)

larkfold_test(main_window_tests
  SOURCES "${CMAKE_CURRENT_LIST_DIR}/app/MainWindowTests.cpp" "${CMAKE_CURRENT_LIST_DIR}/app/WindowFixture.h"
  LIBRARIES larkfold_test_support larkfold_shell_ui larkfold_shell_uiplugin Qt6::Test
  LABELS shell)
