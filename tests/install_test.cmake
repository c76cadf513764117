# Installs the build into a fresh prefix, then builds the consumer program
# against it through pkg-config and through find_package, and runs both.
# Takes BUILD_DIR, SOURCE_DIR, PREFIX, LIBDIR, MANDIR, C_COMPILER and EXTRA_FLAGS (the
# sanitizer flags of the build, which its libraries need).
file(REMOVE_RECURSE "${PREFIX}")
function(step)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${ARGN}\n${out}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()

step(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${PREFIX}")
foreach(file ${LIBDIR}/libquvclr.so.0 ${LIBDIR}/libquvbase.so.0 ${LIBDIR}/Quv.Codecs.Png.PngCodec.so include/quvclr/quvclr.h
             include/quvbase/quvbase.h bin/quvclr ${MANDIR}/man1/quvclr.1 ${LIBDIR}/pkgconfig/quvclr.pc
             ${LIBDIR}/cmake/quvclr/quvclrConfig.cmake)
  if(NOT EXISTS "${PREFIX}/${file}")
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()

# pkg-config
set(ENV{PKG_CONFIG_PATH} "${PREFIX}/${LIBDIR}/pkgconfig")
step(pkg-config --cflags --libs quvclr)
separate_arguments(flags UNIX_COMMAND "${out} ${EXTRA_FLAGS}")
step(${C_COMPILER} "${SOURCE_DIR}/tests/consumer/consumer.c" -o "${PREFIX}/consumer-pc" ${flags}
     "-Wl,-rpath,${PREFIX}/${LIBDIR}")
step("${PREFIX}/consumer-pc")
message("${out}")

# find_package
step(${CMAKE_COMMAND} -S "${SOURCE_DIR}/tests/consumer" -B "${PREFIX}/consumer-build" "-DCMAKE_PREFIX_PATH=${PREFIX}"
     "-DCMAKE_C_COMPILER=${C_COMPILER}" "-DCMAKE_C_FLAGS=${EXTRA_FLAGS}")
step(${CMAKE_COMMAND} --build "${PREFIX}/consumer-build")
step("${PREFIX}/consumer-build/consumer")
message("${out}")

# The installed program runs from its prefix.
step("${PREFIX}/bin/quvclr" spaces)
file(REMOVE_RECURSE "${PREFIX}")
