# What every target of this project has in common: warnings, sanitizers, library assertions.
add_library(BleedwiseOptions INTERFACE)
target_compile_options(BleedwiseOptions INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2
  -fno-semantic-interposition # nobody replaces our functions, so let them be inlined
  -Wno-restrict # GCC 12 warns of its own std::string operator+ (GCC bug 105651)
  $<$<BOOL:${BLEEDWISE_WARNINGS_AS_ERRORS}>:-Werror>)
target_compile_definitions(BleedwiseOptions INTERFACE _GLIBCXX_ASSERTIONS)
if(BLEEDWISE_SANITIZE)
  target_compile_options(BleedwiseOptions INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(BleedwiseOptions INTERFACE -fsanitize=address,undefined)
elseif(BLEEDWISE_SANITIZE_THREADS)
  target_compile_options(BleedwiseOptions INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
  target_link_options(BleedwiseOptions INTERFACE -fsanitize=thread)
endif()

# bleedwise_library(NAME SOURCES ... [PUBLIC_LIBRARIES ...] [PRIVATE_LIBRARIES ...])
# Declares a static library whose headers are included by their path below Bleedwise/.
function(bleedwise_library name)
  cmake_parse_arguments(PARSE_ARGV 1 LIBRARY "" "" "SOURCES;PUBLIC_LIBRARIES;PRIVATE_LIBRARIES")
  add_library(${name} STATIC ${LIBRARY_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/Bleedwise)
  target_link_libraries(${name}
    PUBLIC ${LIBRARY_PUBLIC_LIBRARIES}
    PRIVATE ${LIBRARY_PRIVATE_LIBRARIES} BleedwiseOptions)
endfunction()
