# The file list and the preview: the rows alone, the model over a real scan, the views in a real (offscreen) window.
larkfold_test(file_list_rows_tests
  SOURCES "${CMAKE_CURRENT_LIST_DIR}/disk/FileListRowsTests.cpp"
  LIBRARIES larkfold_test_support larkfold_shell_ui
  LABELS shell)

larkfold_test(file_list_model_tests
  SOURCES "${CMAKE_CURRENT_LIST_DIR}/disk/FileListModelTests.cpp"
  LIBRARIES larkfold_test_support larkfold_shell_ui Qt6::Test
  LABELS shell)

larkfold_test(preview_tests
  SOURCES "${CMAKE_CURRENT_LIST_DIR}/disk/PreviewTests.cpp"
  LIBRARIES larkfold_test_support larkfold_shell_ui Qt6::Test
  LABELS shell)

larkfold_test(file_list_view_tests
  SOURCES "${CMAKE_CURRENT_LIST_DIR}/disk/FileListViewTests.cpp"
  LIBRARIES larkfold_test_support larkfold_shell_ui larkfold_shell_uiplugin Qt6::Test
  LABELS shell)
