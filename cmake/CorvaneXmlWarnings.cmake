# corvane_xml_warnings(target): the warning set of the project's own targets.
function(corvane_xml_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra)
  if(CORVANE_XML_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
