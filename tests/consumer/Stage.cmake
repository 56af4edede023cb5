# Installs the build in BUILD_DIR and moves the result to STAGE: what works there does not depend on the place that
# it was installed to.
file(REMOVE_RECURSE "${STAGE}" "${STAGE}.first")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${STAGE}.first"
                OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(RENAME "${STAGE}.first" "${STAGE}")
