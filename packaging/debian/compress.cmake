# SPDX-License-Identifier: Apache-2.0
# cmake -DGZIP=... -DSOURCE=... -DMADE=... -P compress.cmake: compresses a file, without its name and time.
cmake_path(GET MADE PARENT_PATH folder)
file(MAKE_DIRECTORY "${folder}")
execute_process(COMMAND "${GZIP}" -9nc "${SOURCE}" OUTPUT_FILE "${MADE}" COMMAND_ERROR_IS_FATAL ANY)
