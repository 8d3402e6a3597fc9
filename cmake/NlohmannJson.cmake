# Finds nlohmann/json (only headers) for the documents of hotfixInspect: the target nlohmannJson. No installed file needs
# it.
#
# For a system that does not have it, scripts/fetch-sources puts it into build/sources. It is alone in its folder, because a
# cross build must not find the machine's other headers there.
find_path(NLOHMANN_JSON_INCLUDE_FOLDER nlohmann/json.hpp 
  PATHS /usr/include /usr/local/include /opt/homebrew/include ${PROJECT_SOURCE_DIR}/build/sources/json/include
  NO_CMAKE_FIND_ROOT_PATH)
if(NOT NLOHMANN_JSON_INCLUDE_FOLDER)
  message(FATAL_ERROR "The headers of nlohmann/json are missing. \
On Debian: apt-get install nlohmann-json3-dev. With Homebrew: brew install nlohmann-json. \
Elsewhere: scripts/fetch-sources build/sources.")
endif()
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/nlohmannJson)
file(CREATE_LINK ${NLOHMANN_JSON_INCLUDE_FOLDER}/nlohmann ${PROJECT_BINARY_DIR}/nlohmannJson/nlohmann SYMBOLIC)
add_library(nlohmannJson INTERFACE)
target_include_directories(nlohmannJson SYSTEM INTERFACE ${PROJECT_BINARY_DIR}/nlohmannJson)
