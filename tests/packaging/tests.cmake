# Checks of what `cmake --install` and the packages deliver. They run on the
# normal build only: a sanitized build is never installed or shipped, and a
# program built outside it could not load its instrumented library without
# the sanitizer runtime preloaded. Under SIU_SANITIZE they show as disabled.
string(TOLOWER "${CMAKE_BUILD_TYPE}" siu_config)
set(siu_packaging_args ${CMAKE_BINARY_DIR} ${CMAKE_INSTALL_LIBDIR} ${siu_config})
set(siu_packaging_dir ${CMAKE_CURRENT_SOURCE_DIR}/packaging)

add_test(NAME InstalledTreeServesPkgConfigAndCMakeConsumersAgainstTheSimulator
  COMMAND bash ${siu_packaging_dir}/staged_install.sh ${siu_packaging_args}
          ${CMAKE_C_COMPILER} ${CMAKE_CXX_COMPILER})

add_test(NAME ManualPagesRenderWithoutWarningsAndCoverEveryKeyOptionAndCommand
  COMMAND bash ${siu_packaging_dir}/man_pages.sh ${siu_packaging_args} ${CMAKE_SOURCE_DIR})

add_test(NAME DebianPackagesHoldTheExpectedFilesAndFieldsAndPassLintian
  COMMAND bash ${siu_packaging_dir}/packages.sh ${siu_packaging_args} ${PROJECT_VERSION})

add_test(NAME BashCompletionOffersCommandsOptionsAndTheConfiguredItemNames
  COMMAND bash ${siu_packaging_dir}/completion.sh ${siu_packaging_args} ${CMAKE_SOURCE_DIR})

set(siu_packaging_tests InstalledTreeServesPkgConfigAndCMakeConsumersAgainstTheSimulator
                        ManualPagesRenderWithoutWarningsAndCoverEveryKeyOptionAndCommand
                        DebianPackagesHoldTheExpectedFilesAndFieldsAndPassLintian
                        BashCompletionOffersCommandsOptionsAndTheConfiguredItemNames)
set(siu_packaging_with "")
if(TARGET siud)
  set(siu_packaging_with siud)
endif()
set_tests_properties(${siu_packaging_tests} PROPERTIES TIMEOUT 120 DISABLED ${SIU_SANITIZE}
  ENVIRONMENT "SIU_PACKAGING_WITH=${siu_packaging_with}")
