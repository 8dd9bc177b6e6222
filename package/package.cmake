# What people install, from built files, with the same bytes whoever makes it and wherever:
#
#   cmake -D VERSION=1.0.0 -D BINARIES=FOLDER -D OUTPUT=FOLDER -P package.cmake
#
# OUTPUT is made anew with the installer, a zip with scripts for machines that take no installer, symbols, and
# checksums. SOURCE_DATE_EPOCH sets the date of every file in them.
cmake_minimum_required(VERSION 3.21)

get_filename_component(BINARIES ${BINARIES} ABSOLUTE)
get_filename_component(OUTPUT ${OUTPUT} ABSOLUTE)
get_filename_component(sources ${CMAKE_CURRENT_LIST_DIR}/.. ABSOLUTE)
set(name qvrnwmiprovider-${VERSION}-x64)
set(product qvrnwmiprovider.dll qvrnwmiprovider.mof qvrnwmiprovider-uninstall.mof qvrnctl.exe)
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  set(ENV{SOURCE_DATE_EPOCH} 1767225600) # the first day of 2026
endif()
# Archives hold local times.
set(ENV{TZ} UTC)

function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# Gives all files of `folder` the one date and the one mode.
function(settle folder)
  file(CHMOD_RECURSE ${folder} FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ
       DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  file(GLOB_RECURSE files ${folder}/*)
  run(touch -d @$ENV{SOURCE_DATE_EPOCH} ${files})
endfunction()

# Zips OUTPUT/`folder`, without what differs between machines: owners, and the order in which a folder lists its files.
function(zip folder)
  settle(${OUTPUT}/${folder})
  file(GLOB_RECURSE files RELATIVE ${OUTPUT} ${OUTPUT}/${folder}/*)
  run(zip -q -X -D ${folder}.zip ${files} WORKING_DIRECTORY ${OUTPUT})
  file(REMOVE_RECURSE ${OUTPUT}/${folder})
endfunction()

# Puts into `msi` what the compiler of installers cannot say, and replaces what it takes from the clock and from chance.
function(complete_installer msi package_code)
  # An action's kind: 50 a program named by a property, 64 whose failure does not count, 256 when rolling back, 1024 in
  # the installer's script, 2048 as the system.
  foreach(undo UndoCompileClasses UndoRemoveClasses)
    run(msibuild ${msi} -q "UPDATE `CustomAction` SET `Type`=3442 WHERE `Action`='${undo}'")
  endforeach()
  # With its version the installer replaces an older file that it did not install itself; hashes are for other files.
  foreach(file Library Client)
    run(msibuild ${msi} -q "UPDATE `File` SET `Version`='${VERSION}.0', `Language`='1033' WHERE `File`='${file}'"
        "DELETE FROM `MsiFileHash` WHERE `File_`='${file}'")
  endforeach()
  # '=' sets a variable and '-' takes it back, '*' is for all users, '[~]' is what the variable holds already.
  run(msibuild ${msi} -q
      "CREATE TABLE `Environment` (`Environment` CHAR(72) NOT NULL, `Name` CHAR(255) NOT NULL LOCALIZABLE, \
`Value` CHAR(255) LOCALIZABLE, `Component_` CHAR(72) NOT NULL PRIMARY KEY `Environment`)"
      "INSERT INTO `Environment` (`Environment`, `Name`, `Value`, `Component_`) \
VALUES ('Path', '=-*PATH', '[~]\\;[InstallFolder]', 'CommandLine')"
      "INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('RemoveEnvironmentStrings', 3300)"
      "INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('WriteEnvironmentStrings', 5200)")
  # Folders without a file of their own go when they are empty.
  foreach(folder VendorFolder DocsFolder)
    run(msibuild ${msi} -q "INSERT INTO `CreateFolder` (`Directory_`, `Component_`) VALUES ('${folder}', 'Provider')")
  endforeach()
  execute_process(COMMAND msiinfo export ${msi} _SummaryInformation OUTPUT_VARIABLE summary COMMAND_ERROR_IS_FATAL ANY)
  string(TIMESTAMP now "%Y/%m/%d %H:%M:%S" UTC)
  string(REGEX REPLACE "\n9\t[^\n]*" "\n9\t{${package_code}}" summary "${summary}")
  string(REGEX REPLACE "\n(12|13)\t[^\n]*" "\n\\1\t${now}" summary "${summary}")
  file(WRITE ${OUTPUT}/summary.idt "${summary}")
  run(msibuild ${msi} -i ${OUTPUT}/summary.idt)
  file(REMOVE ${OUTPUT}/summary.idt)
endfunction()

# Puts guide and examples into `folder`, where they lie to each other as in the repository.
function(add_texts folder)
  run(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/htmlguide.sh ${sources}/docs/guide ${folder}/docs/guide)
  file(COPY ${sources}/examples DESTINATION ${folder})
  file(REMOVE ${folder}/examples/CMakeLists.txt)
endfunction()

# Sets `variable` to what describes the files of `stage`/`folder` to the compiler of installers.
function(describe_files variable stage folder)
  file(GLOB files RELATIVE ${stage} ${stage}/${folder}/*.*)
  set(text "")
  foreach(file ${files})
    get_filename_component(file_name ${file} NAME)
    string(MAKE_C_IDENTIFIER ${file} id)
    string(APPEND text "<File Id=\"${id}\" Name=\"${file_name}\" Source=\"${file}\"/>\n")
  endforeach()
  set(${variable} ${text} PARENT_SCOPE)
endfunction()

# A product code belongs to a version, a package code to the bytes of a package.
function(make_installer)
  set(upgrade_code 10705767-0CC8-4B4B-98D5-61D2F4C6D6B5)
  string(UUID product_code NAMESPACE ${upgrade_code} NAME ${VERSION} TYPE SHA1 UPPER)
  set(class_key "Software\\classes\\CLSID\\{22CB8761-914A-11CF-B705-00AA0062CBB7}")
  set(event_key "SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\QvrnWmiProvider")
  set(stage ${OUTPUT}/installer)
  list(TRANSFORM product PREPEND ${BINARIES}/ OUTPUT_VARIABLE files)
  file(COPY ${files} DESTINATION ${stage})
  add_texts(${stage})
  describe_files(guide_files ${stage} docs/guide)
  describe_files(example_files ${stage} examples)
  describe_files(ansible_files ${stage} examples/ansible)
  configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/qvrnwmiprovider.wxs.in ${stage}/qvrnwmiprovider.wxs @ONLY)
  settle(${stage})
  run(wixl -a x64 -o ${OUTPUT}/${name}.msi qvrnwmiprovider.wxs WORKING_DIRECTORY ${stage})
  file(GLOB_RECURSE files ${stage}/*)
  set(hashes "")
  foreach(file ${files} ${CMAKE_CURRENT_FUNCTION_LIST_FILE})
    file(SHA256 ${file} hash)
    string(APPEND hashes ${hash})
  endforeach()
  string(UUID package_code NAMESPACE ${upgrade_code} NAME ${hashes} TYPE SHA1 UPPER)
  complete_installer(${OUTPUT}/${name}.msi ${package_code})
  file(REMOVE_RECURSE ${stage})
endfunction()

function(make_archives)
  list(TRANSFORM product PREPEND ${BINARIES}/ OUTPUT_VARIABLE files)
  file(GLOB scripts ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/*.ps1)
  file(GLOB texts ${sources}/LICENSE*)
  file(COPY ${files} ${scripts} ${texts} DESTINATION ${OUTPUT}/${name})
  configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/README.txt ${OUTPUT}/${name}/README.txt @ONLY NEWLINE_STYLE DOS)
  add_texts(${OUTPUT}/${name})
  zip(${name})
  file(COPY ${BINARIES}/qvrnwmiprovider.pdb ${BINARIES}/qvrnctl.pdb DESTINATION ${OUTPUT}/${name}-symbols)
  zip(${name}-symbols)
endfunction()

file(REMOVE_RECURSE ${OUTPUT})
file(MAKE_DIRECTORY ${OUTPUT})
make_installer()
make_archives()
file(GLOB made RELATIVE ${OUTPUT} ${OUTPUT}/*)
set(sums "")
foreach(file ${made})
  file(SHA256 ${OUTPUT}/${file} hash)
  string(APPEND sums "${hash}  ${file}\n")
endforeach()
file(WRITE ${OUTPUT}/SHA256SUMS "${sums}")
