# The one place for flags, foreign libraries and the helpers that make targets.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
# Programs find the module beside themselves; the paths of a build tree stay out of what is installed.
set(CMAKE_SKIP_RPATH ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

add_compile_definitions(_GNU_SOURCE)
add_compile_options(
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  # std::shared_ptr<bson_t> drops bson_t's alignment attribute, which is harmless: libbson allocates every bson_t.
  -Wno-ignored-attributes $<$<CXX_COMPILER_ID:Clang>:-Wno-align-mismatch>
  -fstack-protector-strong
  # The bytes of a build do not depend on the folder it was made in.
  -ffile-prefix-map=${CMAKE_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=build)
# Most of the time goes into the headers of others: all presets but `debug` compile the sources of a room as one, so
# that names in anonymous namespaces are the room's.
set(CMAKE_UNITY_BUILD_BATCH_SIZE 0)
if(CMAKE_UNITY_BUILD)
  add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)  # takes the source for a header
endif()
add_compile_options($<$<CONFIG:Release>:-U_FORTIFY_SOURCE> $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)
add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack -Wl,--as-needed)

set(ORVIX_SANITIZE "" CACHE STRING "Sanitizers to build with, as given to -fsanitize")
if(ORVIX_SANITIZE)
  add_compile_options(-fsanitize=${ORVIX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ORVIX_SANITIZE})
endif()

find_package(Threads REQUIRED)
find_package(bson-1.0 1.23 REQUIRED)
find_package(nlohmann_json 3.11 REQUIRED)

# glog belongs to the host process: the module compiles against the headers and links nothing of it.
find_path(GLOG_INCLUDE_DIR glog/logging.h REQUIRED)
find_library(GLOG_LIBRARY glog REQUIRED)
add_library(glog_headers INTERFACE)
target_include_directories(glog_headers SYSTEM INTERFACE ${GLOG_INCLUDE_DIR})
add_library(glog_host INTERFACE)
target_link_libraries(glog_host INTERFACE glog_headers -Wl,--no-as-needed ${GLOG_LIBRARY} -Wl,--as-needed)

# orvix_library(name SOURCES file... LINKS target...): a static room of the house; includes name rooms from the root.
function(orvix_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}>)
  target_link_libraries(${name} PUBLIC ${ARG_LINKS})
endfunction()

# orvix_program(name SOURCES file... LINKS target...)
function(orvix_program name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE ${ARG_LINKS})
endfunction()

# orvix_text(source header name file): a source that holds the file's text as orvix::gateway's `name`, as the header
# declares it; made anew when the file changes.
function(orvix_text source header name file)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  file(READ ${file} text)
  file(CONFIGURE OUTPUT ${source} CONTENT [[// Made of @file@ by the build.
#include "@header@"

namespace orvix::gateway {

const char @name@[] = R"~text~(@text@)~text~";

}  // namespace orvix::gateway
]] @ONLY)
endfunction()
