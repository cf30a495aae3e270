# What every target of this project is compiled with. Use: qel_compile_options(<target>).

function(qel_compile_options target)
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD 17 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF
    C_STANDARD 99 C_STANDARD_REQUIRED ON C_EXTENSIONS OFF)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4 $<$<BOOL:${QEL_UNIT_WERROR}>:/WX>)
  else()
    # Results are the same bits everywhere only without fused multiply-add. Nobody asks errno about a root, and
    # without that question it is one instruction, of which loops take several at once.
    target_compile_options(${target} PRIVATE
      -ffp-contract=off -fno-math-errno -Wall -Wextra -Wpedantic -Wconversion -Wshadow $<$<BOOL:${QEL_UNIT_WERROR}>:-Werror>
      ${qel_more_options})
    if(MINGW) # formats of the C standard, not of the old C library of Windows
      target_compile_definitions(${target} PRIVATE __USE_MINGW_ANSI_STDIO=1)
    endif()
    if(QEL_UNIT_SANITIZE)
      target_compile_options(${target} PRIVATE
        -fsanitize=${QEL_UNIT_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
      target_link_options(${target} PRIVATE -fsanitize=${QEL_UNIT_SANITIZE})
    endif()
  endif()
endfunction()
