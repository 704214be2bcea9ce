# The Wireshark dissector read through tshark: the sample captures that
# zorv_pcap_samples writes, each field that tshark shows compared with the
# value expected from the hand-written frames. Prints "tshark not found"
# (which ctest takes as a skip) when tshark is missing.
#
# -D: TSHARK, SAMPLES (the sample writer), DISSECTOR (the .lua file), WORK_DIR.
if(NOT TSHARK OR NOT EXISTS "${TSHARK}")
  message("tshark not found: the dissector test is skipped")
  return()
endif()

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR}/home)
execute_process(COMMAND ${SAMPLES} ${WORK_DIR} RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${SAMPLES} failed: ${status}")
endif()

# tshark reads no one's profile: a personal copy of the dissector would
# register the protocol twice, and personal preferences would change what it
# shows.
set(ENV{HOME} ${WORK_DIR}/home)
set(ENV{XDG_CONFIG_HOME} ${WORK_DIR}/home/.config)
set(ENV{WIRESHARK_CONFIG_DIR} ${WORK_DIR}/home/wireshark)

set(failures "")

# check(NAME FILE [OPTIONS -o ...] FILTER filter FIELDS f... EXPECT line...)
# Fields are separated by "|" in the lines, repeated fields (several frames
# in one segment) by ",".
function(check)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "NAME;FILE;FILTER" "OPTIONS;FIELDS;EXPECT")
  set(command ${TSHARK} -n -X lua_script:${DISSECTOR} ${arg_OPTIONS} -r ${WORK_DIR}/${arg_FILE}
      -Y ${arg_FILTER} -T fields -E separator=| -E occurrence=a -E aggregator=,)
  foreach(field IN LISTS arg_FIELDS)
    list(APPEND command -e ${field})
  endforeach()
  execute_process(COMMAND ${command} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  # As root tshark warns that it runs as root: that line is no failure.
  string(REGEX REPLACE "Running as user \"[^\n]*\n?" "" err "${err}")
  string(STRIP "${err}" err)
  string(STRIP "${out}" out)
  list(JOIN arg_EXPECT "\n" expected)
  if(NOT status EQUAL 0 OR NOT err STREQUAL "" OR NOT out STREQUAL expected)
    string(REPLACE ";" " " shown "${command}")
    set(failures "${failures}\n--- ${arg_NAME}: ${shown}\nexpected:\n${expected}\ngot (exit ${status}):\n${out}\n${err}\n"
        PARENT_SCOPE)
  endif()
endfunction()

set(header_fields zorvproto.direction zorvproto.kind zorvproto.ack zorvproto.label zorvproto.addr1 zorvproto.addr2
    zorvproto.device_type zorvproto.byte7 zorvproto.scan_board zorvproto.operation zorvproto.packet_type
    zorvproto.register zorvproto.length zorvproto.frame_length zorvproto.data zorvproto.checksum
    zorvproto.checksum.status)

# A read request asks for 4 bytes and carries none (20 bytes); the reply
# carries them. The write carries 3 bytes; its reply none.
check(NAME "standard transfer" FILE standard.pcap FILTER zorvproto FIELDS frame.number ${header_fields} EXPECT
  "4|to device|read request|0|1|0x01|0x02|0x03|0x00|0x0005|0x00|0x01|0x00001000|4|20||0x5576|1"
  "5|from device|reply|0|1|0x02|0x01|0x03|0x00|0x0005|0x00|0x01|0x00001000|4|24|deadbeef|0x58ae|1"
  "6|to device|write request|0|2|0x01|0x02|0x03|0x00|0x0005|0x01|0x01|0x00001000|3|23|010203|0x557d|1"
  "7|from device|reply|0|2|0x02|0x01|0x03|0x00|0x0005|0x01|0x01|0x00001000|0|20||0x5574|1")

check(NAME "heuristic on another port" FILE heuristic.pcap FILTER zorvproto
  FIELDS frame.number tcp.dstport zorvproto.kind zorvproto.label zorvproto.frame_length EXPECT
  "4|7700|read request|1|20"
  "5|49152|reply|1|24")

set(variant_fields zorvproto.kind zorvproto.label zorvproto.operation zorvproto.packet_type zorvproto.length
    zorvproto.frame_length zorvproto.sub.length zorvproto.sub.packet_sum zorvproto.sub.sequence
    zorvproto.sub.length_ext zorvproto.sub.ext zorvproto.payload zorvproto.checksum.status)

# Found by the lengths: the write (44 bytes although its valid length says
# 26), the read request (38 bytes: the sub-header alone), the read reply, the
# pushed report and its acknowledgement. The write's reply (20 data bytes,
# sub valid length 6) does not agree and shows its data only.
check(NAME "variant transfer" FILE variant.pcap FILTER zorvproto FIELDS frame.number ${variant_fields} EXPECT
  "4|write request|7|0x01|0x01|26|44|6|1|0|2|aabb|11223344|1"
  "5|reply|7|0x01|0x01|20|40|||||||1"
  "6|read request|8|0x00|0x01|26|38|8|1|0|0|||1"
  "7|reply|8|0x00|0x01|26|46|8|1|0|0||1122334455667788|1"
  "8|pushed report|9|0x10|0x32|20|40|0|1|0|0||5a5b|1"
  "9|report acknowledgement|9|0x10|0x32|18|38|0|1|0|0|||1")

check(NAME "variant sub-header always" FILE variant.pcap OPTIONS -o zorvproto.variant:always FILTER zorvproto
  FIELDS frame.number zorvproto.frame_length zorvproto.sub.length zorvproto.sub.length_ext zorvproto.sub.ext
         zorvproto.payload EXPECT
  "4|44|6|2|aabb|11223344"
  "5|40|6|2|aabb|"
  "6|38|8|0||"
  "7|46|8|0||1122334455667788"
  "8|40|0|0||5a5b"
  "9|38|0|0||")

# The reply's first 10 bytes come in frame 5, the rest in frame 6.
check(NAME "frame split over two segments" FILE split.pcap FILTER zorvproto
  FIELDS frame.number zorvproto.kind zorvproto.label zorvproto.frame_length zorvproto.data zorvproto.checksum.status
  EXPECT
  "4|read request|1|20||1"
  "6|reply|1|24|deadbeef|1")

check(NAME "two frames in one segment" FILE two_in_one.pcap FILTER zorvproto
  FIELDS frame.number zorvproto.kind zorvproto.label zorvproto.register zorvproto.frame_length zorvproto.data
  EXPECT
  "4|read request,read request|3,4|0x00001000,0x00001004|20,20|"
  "5|reply,reply|3,4|0x00001000,0x00001004|24,24|01020304,05060708")

check(NAME "bad checksum" FILE bad_checksum.pcap FILTER zorvproto
  FIELDS frame.number zorvproto.kind zorvproto.checksum zorvproto.checksum.calculated zorvproto.checksum.status
         _ws.expert.message
  EXPECT
  "4|read request|0x5576|0x5576|1|"
  "5|reply|0x59ae|0x58ae|0|Bad checksum: stored 0x59ae, calculated 0x58ae")

# The synthetic TCP/IP around the frames raises no complaint.
foreach(file standard heuristic variant split two_in_one bad_checksum)
  check(NAME "${file}: TCP and IP" FILE ${file}.pcap OPTIONS -o tcp.check_checksum:TRUE -o ip.check_checksum:TRUE
    FILTER "tcp.analysis.flags || tcp.checksum.status != 1 || ip.checksum.status != 1 || _ws.malformed"
    FIELDS frame.number EXPECT "")
endforeach()

if(failures)
  message(FATAL_ERROR "the dissector showed other fields than expected:${failures}")
endif()
message("dissector: every sample capture shows the expected fields")
