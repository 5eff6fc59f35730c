# pe_embed_shaders(<target> <header> <files...>): turns GLSL files into one
# generated header of string constants named after the files
# (vignette.frag -> kShader_vignette_frag), so sources ship inside the library.
function(pe_embed_shaders target header)
  set(out "${CMAKE_CURRENT_BINARY_DIR}/generated/${header}")
  add_custom_command(OUTPUT "${out}"
    COMMAND ${CMAKE_COMMAND} -DOUT=${out} "-DFILES=${ARGN}"
            -P ${PROJECT_SOURCE_DIR}/cmake/EmbedShadersScript.cmake
    DEPENDS ${ARGN} ${PROJECT_SOURCE_DIR}/cmake/EmbedShadersScript.cmake
    COMMENT "Embedding shaders into ${header}")
  target_sources(${target} PRIVATE "${out}")
  target_include_directories(${target} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/generated")
endfunction()
