# Checks every quoted #include under src/, tools/ and bench/ against the direction of the layers:
# a folder may include its own headers and those of the folders listed for it, nothing else.
#   cmake -DROOT=<source dir> -P cmake/check_layering.cmake
# Fails with one line per wrong include. Includes without a folder ("ui_window.h", a header
# beside the file) are local and always allowed.
cmake_minimum_required(VERSION 3.25)
if(NOT ROOT)
  message(FATAL_ERROR "usage: cmake -DROOT=<source dir> -P check_layering.cmake")
endif()

# Layer name, then the layers it may include besides itself. A layer's name is its folder under
# src/ (media stages as media/<stage>); tools/mediagen is "mediagen" and bench is "bench".
set(layers
  "media/base|"
  "media/ffmpeg|media/base"
  "media/model|media/base media/ffmpeg"
  "media/quicktime|media/base media/ffmpeg media/model"
  "media/decode|media/base media/ffmpeg media/model"
  "media/render|media/base media/ffmpeg media/model media/decode"
  "media/audio|media/base media/ffmpeg media/model media/decode"
  "media/reader|media/base media/ffmpeg media/model media/decode media/render media/audio"
  "media/writer|media/base media/ffmpeg media/model"
  "media/playback|media/base media/ffmpeg media/model media/decode media/render media/audio"
  "media/save|media/base media/ffmpeg media/model media/quicktime media/decode media/render media/audio media/reader media/writer"
  "core|media/base"
  "document|@media core"
  "timeline|@media core document"
  "export|@media core document"
  "cli|@media core document timeline export"
  "qt_media|@media core"
  "timeline_view|@media core document timeline qt_media"
  "app|@media core document timeline export cli qt_media timeline_view"
  "mediagen|media/base media/ffmpeg"
  "bench|@media core document timeline export qt_media timeline_view app mediagen")
set(all_media_stages media/base media/ffmpeg media/model media/quicktime media/decode media/render
                     media/audio media/reader media/writer media/playback media/save)

set(known_layers "")
foreach(entry ${layers})
  string(REPLACE "|" ";" parts "${entry}")
  list(GET parts 0 layer)
  list(APPEND known_layers ${layer})
endforeach()

# The layer that a path (relative to its root: src/, tools/ or the project) belongs to, or "".
function(layer_of_path path out)
  set(found "")
  if(path MATCHES "^media/([a-z_]+)/")
    set(found "media/${CMAKE_MATCH_1}")
  elseif(path MATCHES "^([a-z_]+)/")
    set(found "${CMAKE_MATCH_1}")
  endif()
  list(FIND known_layers "${found}" index)
  if(index EQUAL -1)
    set(found "")
  endif()
  set(${out} "${found}" PARENT_SCOPE)
endfunction()

function(allowed_layers layer out)
  set(result ${layer})
  foreach(entry ${layers})
    string(REPLACE "|" ";" parts "${entry}")
    list(GET parts 0 name)
    if(name STREQUAL layer)
      list(LENGTH parts count)
      if(count GREATER 1)
        list(GET parts 1 deps)
        string(REPLACE " " ";" deps "${deps}")
        foreach(dep ${deps})
          if(dep STREQUAL "@media")
            list(APPEND result ${all_media_stages})
          else()
            list(APPEND result ${dep})
          endif()
        endforeach()
      endif()
    endif()
  endforeach()
  set(${out} "${result}" PARENT_SCOPE)
endfunction()

file(GLOB_RECURSE sources RELATIVE "${ROOT}" "${ROOT}/src/*.h" "${ROOT}/src/*.cpp"
     "${ROOT}/tools/*.h" "${ROOT}/tools/*.cpp" "${ROOT}/bench/*.h" "${ROOT}/bench/*.cpp")
set(violations "")
set(checked 0)
foreach(source ${sources})
  if(source MATCHES "^src/(.*)$")
    layer_of_path("${CMAKE_MATCH_1}" layer)
  elseif(source MATCHES "^tools/mediagen/")
    set(layer mediagen)
  elseif(source MATCHES "^bench/")
    set(layer bench)
  else()
    set(layer "")
  endif()
  if(layer STREQUAL "")
    list(APPEND violations "${source}: in no known layer (add its folder to cmake/check_layering.cmake)")
    continue()
  endif()
  allowed_layers(${layer} allowed)
  file(STRINGS "${ROOT}/${source}" includes REGEX "^[ \t]*#[ \t]*include[ \t]+\"")
  foreach(line ${includes})
    string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]+\"([^\"]+)\".*$" "\\1" included "${line}")
    math(EXPR checked "${checked} + 1")
    if(NOT included MATCHES "/")
      continue()
    endif()
    layer_of_path("${included}" target)
    if(target STREQUAL "")
      list(APPEND violations "${source}: includes \"${included}\", which is in no known layer")
    elseif(NOT target IN_LIST allowed)
      list(APPEND violations "${source}: ${layer} may not include \"${included}\" (${target})")
    endif()
  endforeach()
endforeach()

list(LENGTH sources file_count)
if(violations)
  list(JOIN violations "\n  " text)
  message(FATAL_ERROR "Includes against the direction of the layers:\n  ${text}")
endif()
message(STATUS "Layering: ${checked} includes in ${file_count} files follow the layers")
