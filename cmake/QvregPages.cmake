# Writes the manual pages of COMMAND and what completes it in a shell to FOLDER, as they are installed
# below share/. Nobody lists the commands: the command's own help does.
#
#   cmake -DCOMMAND=<the command> -DFOLDER=<share> -P QvregPages.cmake
cmake_minimum_required(VERSION 3.25)

# write(FILE ARGUMENT...): what the command prints.
function(write file)
  execute_process(COMMAND "${COMMAND}" ${ARGN} OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
  file(WRITE "${FOLDER}/${file}" "${text}")
endfunction()

file(REMOVE_RECURSE "${FOLDER}")
execute_process(COMMAND "${COMMAND}" --help OUTPUT_VARIABLE help COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE ".*\nCommands:\n(.*)\n\nExamples:.*" "\\1" help "${help}")
string(REGEX MATCHALL "(^|\n)  [a-z]+  " commands "${help}")
string(REGEX MATCHALL "[a-z]+" commands "${commands}")
list(LENGTH commands count)
if(count LESS 2)
  message(FATAL_ERROR "the help of ${COMMAND} names no commands")
endif()
write(man/man1/qvreg.1 man)
foreach(command IN LISTS commands)
  write("man/man1/qvreg-${command}.1" man "${command}")
endforeach()
write(bash-completion/completions/qvreg completion bash)
write(zsh/site-functions/_qvreg completion zsh)
