# Updates and settings: the feed by itself, the check against a real HTTPS server on loopback, the windows.
larkfold_test(update_feed_tests
  SOURCES
    "${CMAKE_CURRENT_LIST_DIR}/updates/AppcastTests.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/updates/AppVersionTests.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/updates/PlainTextTests.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/updates/TestCertificates.h"
    "${CMAKE_CURRENT_LIST_DIR}/updates/UpdateFeedText.h"
  LIBRARIES larkfold_test_support larkfold_updates Qt6::Network OpenSSL::Crypto
  LABELS shell)

target_compile_definitions(update_feed_tests PRIVATE LARKFOLD_SIGN_FEED="${PROJECT_SOURCE_DIR}/scripts/sign-feed")

larkfold_test(update_manager_tests
  SOURCES
    "${CMAKE_CURRENT_LIST_DIR}/updates/UpdateManagerTests.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/updates/TestCertificates.h"
    "${CMAKE_CURRENT_LIST_DIR}/updates/UpdateFeedText.h"
    "${CMAKE_CURRENT_LIST_DIR}/updates/UpdateServer.h"
  LIBRARIES larkfold_test_support larkfold_shell_ui Qt6::Test OpenSSL::Crypto
  LABELS shell)

larkfold_test(settings_tests
  SOURCES
    "${CMAKE_CURRENT_LIST_DIR}/app/SettingsTests.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/app/WindowFixture.h"
  LIBRARIES larkfold_test_support larkfold_shell_ui larkfold_shell_uiplugin Qt6::Test OpenSSL::Crypto
  LABELS shell)
