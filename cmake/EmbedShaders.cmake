# pe_embed_shaders(<target> <header> <files...>): turns GLSL files into one
# generated header of string constants named after the files
# (vignette.frag -> kShader_vignette_frag), so sources ship inside the library.
function(pe_embed_shaders target header)
  pe_embed_files(${target} ${header} kShader_ ${ARGN})
endfunction()

# pe_embed_files(<target> <header> <prefix> <files...>): the same for any text
# files, with constants named <prefix><file name>.
function(pe_embed_files target header prefix)
  set(out "${CMAKE_CURRENT_BINARY_DIR}/generated/${header}")
  string(REPLACE ";" "," files "${ARGN}")
  add_custom_command(OUTPUT "${out}"
    COMMAND ${CMAKE_COMMAND} -DOUT=${out} "-DFILES=${files}" -DPREFIX=${prefix}
            -P ${PROJECT_SOURCE_DIR}/cmake/EmbedShadersScript.cmake
    DEPENDS ${ARGN} ${PROJECT_SOURCE_DIR}/cmake/EmbedShadersScript.cmake
    COMMENT "Embedding ${header}" VERBATIM)
  target_sources(${target} PRIVATE "${out}")
  target_include_directories(${target} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/generated")
endfunction()

# pe_validate_shaders(<name> <vert> <frag> [PRELUDE file] [DEFINES d1 d2 ...]):
# a CTest that compiles and links the pair with glslangValidator, once plain
# and once per define. A family's shared GLSL (PRELUDE) is put into the
# fragment source the way the library composes it before it is checked.
find_program(PE_GLSLANG glslangValidator)
function(pe_validate_shaders name vert frag)
  cmake_parse_arguments(V "" "" "PRELUDE;DEFINES" ${ARGN})
  if(NOT PE_GLSLANG OR NOT PE_BUILD_TESTS)
    return()
  endif()
  if(V_PRELUDE)
    # Definitions must come before -P: cmake hands what follows to the script
    # as arguments, and the define would silently not be checked.
    # Several preludes go in one after another, as the library joins them; a
    # list would be split into arguments on its way to the script.
    string(REPLACE ";" "|" preludes "${V_PRELUDE}")
    set(defs -DGLSLANG=${PE_GLSLANG} -DVERT=${vert} -DFRAG=${frag} -DPRELUDE=${preludes}
        -DOUT=${CMAKE_CURRENT_BINARY_DIR}/glsl/${name}.frag)
    set(script -P ${PROJECT_SOURCE_DIR}/cmake/ValidatePrelude.cmake)
    add_test(NAME glsl_${name} COMMAND ${CMAKE_COMMAND} ${defs} ${script})
    foreach(d ${V_DEFINES})
      add_test(NAME glsl_${name}_${d} COMMAND ${CMAKE_COMMAND} ${defs} -DDEFINE=${d} ${script})
    endforeach()
    return()
  endif()
  add_test(NAME glsl_${name} COMMAND ${PE_GLSLANG} -l ${vert} ${frag})
  foreach(d ${V_DEFINES})
    add_test(NAME glsl_${name}_${d} COMMAND ${PE_GLSLANG} -l -D${d} ${vert} ${frag})
  endforeach()
endfunction()
