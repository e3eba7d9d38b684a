# Writes the header of build stamps to OUTPUT, all of them from one reading of the clock. With
# SOURCE_DATE_EPOCH set it tells nothing of the machine, so that the same sources give the same
# library everywhere.
string(TIMESTAMP now "%s;%m%d%Y;%a %b;%d;%H:%M:%S UTC %Y" UTC)
list(GET now 0 seconds)
list(GET now 1 stamp_date)
list(GET now 2 weekday_and_month)
list(GET now 3 day)
string(REGEX REPLACE "^0" " " day "${day}")
list(GET now 4 time_and_year)
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
