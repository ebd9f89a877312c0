# Fetches the packages of the companion page if the list of them has changed, checks the page and
# bundles it into PAGE. Run by the build, with NODE, NPM and PAGE. A build without network goes on
# without the page: the hub then serves a plain one of its own.
set(modules "${CMAKE_CURRENT_LIST_DIR}/node_modules")
set(fetched "${modules}/.package-lock.json")

foreach(list package.json package-lock.json .npmrc)
  if(NOT EXISTS "${fetched}" OR "${CMAKE_CURRENT_LIST_DIR}/${list}" IS_NEWER_THAN "${fetched}")
    set(stale TRUE)
  endif()
endforeach()
if(stale)
  message(STATUS "Fetching the packages of the companion page")
  execute_process(COMMAND "${NPM}" ci --loglevel=error
    WORKING_DIRECTORY "${CMAKE_CURRENT_LIST_DIR}" RESULT_VARIABLE failure)
  if(failure)
    message(WARNING "npm could not fetch the packages of the companion page (no network?). The hub "
      "will serve a plain page that only says how to join; build again with a network for the whole one.")
    return()
  endif()
endif()

foreach(step "${modules}/typescript/bin/tsc" "${modules}/typescript/bin/tsc;-p;worker" "build.mjs;${PAGE}")
  execute_process(COMMAND "${NODE}" ${step}
    WORKING_DIRECTORY "${CMAKE_CURRENT_LIST_DIR}" COMMAND_ERROR_IS_FATAL ANY)
endforeach()
