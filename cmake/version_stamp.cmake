# Writes the header of build stamps to OUTPUT. With SOURCE_DATE_EPOCH set it tells nothing of the
# machine, so that the same sources give the same library everywhere.
string(TIMESTAMP seconds "%s" UTC)
string(TIMESTAMP stamp_date "%m%d%Y" UTC)
string(TIMESTAMP weekday_and_month "%a %b" UTC)
string(TIMESTAMP day "%d" UTC)
string(REGEX REPLACE "^0" " " day "${day}")
string(TIMESTAMP time_and_year "%H:%M:%S UTC %Y" UTC)
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  set(machine "reproducible")
else()
  cmake_host_system_information(RESULT machine QUERY HOSTNAME)
endif()
file(WRITE "${OUTPUT}" "#define ZOEAVL_STAMP \"V.02.01M0P${stamp_date}\"
#define ZOEAVL_BUILD_SECONDS ${seconds}U
#define ZOEAVL_BUILD_DATE \"${weekday_and_month} ${day} ${time_and_year}\"
#define ZOEAVL_BUILD_MACHINE \"${machine}\"
")
