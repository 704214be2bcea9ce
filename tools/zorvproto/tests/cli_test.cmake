# The zorvproto executable as a user drives it: expected output worked out by
# hand from the frame table, round trips between its commands, bad input.
# Run with -DZORVPROTO=<executable> -DWORK_DIR=<scratch directory>.
cmake_minimum_required(VERSION 3.25)
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
set(failures 0)

# run(<name> <expected status> [INPUT <file>] ARGS <args...>): runs the tool,
# leaves its standard output in out_<name> and standard error in err_<name>.
function(run name expected)
  cmake_parse_arguments(RUN "" "INPUT" "ARGS" ${ARGN})
  set(input)
  if(RUN_INPUT)
    set(input INPUT_FILE ${RUN_INPUT})
  endif()
  execute_process(COMMAND ${ZORVPROTO} ${RUN_ARGS} ${input}
    OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE status)
  if(NOT status EQUAL expected)
    message(SEND_ERROR "${name}: exit status ${status}, expected ${expected}\n${out}${err}")
  endif()
  file(WRITE ${WORK_DIR}/${name}.out "${out}")
  set(out_${name} "${out}" PARENT_SCOPE)
  set(err_${name} "${err}" PARENT_SCOPE)
endfunction()

function(expect_equal name actual expected)
  if(NOT actual STREQUAL expected)
    message(SEND_ERROR "${name}: got\n${actual}\nexpected\n${expected}")
  endif()
endfunction()

function(expect_match name actual pattern)
  if(NOT actual MATCHES "${pattern}")
    message(SEND_ERROR "${name}: output does not match '${pattern}':\n${actual}")
  endif()
endfunction()

# ---- encode, against frames worked out by hand ----
# Read request: 55 AA, ack 0, label 1, bytes 4 to 11 from the options, address
# 0x2000, length 256 asked; checksum 0x5555 + 0x1ae (bytes 2 to 17) = 0x5703.
run(read 0 ARGS encode --op read --addr 0x2000 --len 256 --first-addr 0x11 --second-addr 0x22
    --device-type 0x33 --byte7 0x44 --scan-board 0x7766 --packet-type 5)
expect_equal(read "${out_read}" "55aa000111223344667700050020000000010357\n")

# Write of 5 bytes in packets of 2: labels 1 to 3, the address stepping by 2.
run(write 0 ARGS encode --op write --addr 16 --data "01:02 0x03 0405" --max 2)
expect_equal(write "${out_write}"
  "55aa0001000000000000010010000000020001026c55\n55aa0002000000000000010012000000020003047355\n55aa00030000000000000100140000000100057355\n")

# The variant: one read of 4 bytes behind a sub-header (packet sum 1) with one
# extension byte: 39 bytes, length 4 + 18 + 1 = 23 asked.
run(variant_read 0 ARGS encode --key 3rdOrvane-proto --op read --addr 0 --len 4 --extension ee)
expect_equal(variant_read "${out_variant_read}"
  "55aa00010000000000000000000000001700040000010000000000000000000000000001ee6156\n")

# ---- decode of a captured stream, against JSON worked out by hand ----
# Garbage, a write reply, a report the device pushed (packet type 0x32).
file(WRITE ${WORK_DIR}/stream.txt "0x01 0x02 0x03\n"
  "aa:55:00:01:00:00:00:00:00:00:01:00:00:20:00:00:00:00:77:55  # write reply\n"
  "55aa0007 0a0b0c0d0e0f 0032 01020304 0200 6869 b656\n")
run(stream 1 ARGS decode --json ${WORK_DIR}/stream.txt)
expect_equal(stream "${out_stream}"
  "{\"index\":1,\"offset\":0,\"length\":3,\"kind\":\"unframed\",\"bytes\":\"010203\"}
{\"index\":2,\"offset\":3,\"length\":20,\"kind\":\"reply\",\"checksumOk\":true,\"header\":{\"head\":\"aa55\",\"ack\":0,\"label\":1,\"firstAddr\":0,\"secondAddr\":0,\"deviceType\":0,\"byte7\":0,\"scanBoard\":0,\"readWriteCode\":1,\"packetType\":0,\"registerAddr\":8192,\"validLength\":0},\"subHeader\":null,\"data\":\"\",\"checksum\":\"7755\"}
{\"index\":3,\"offset\":23,\"length\":22,\"kind\":\"push\",\"checksumOk\":true,\"header\":{\"head\":\"55aa\",\"ack\":0,\"label\":7,\"firstAddr\":10,\"secondAddr\":11,\"deviceType\":12,\"byte7\":13,\"scanBoard\":3854,\"readWriteCode\":0,\"packetType\":50,\"registerAddr\":67305985,\"validLength\":2},\"subHeader\":null,\"data\":\"6869\",\"checksum\":\"b656\"}
")

# The read request in text: a read asks for bytes, its frame carries none.
file(WRITE ${WORK_DIR}/read.txt "${out_read}")
run(read_text 0 ARGS decode ${WORK_DIR}/read.txt)
expect_match(read_text "${out_read_text}" "request 55 aa, 20 bytes, checksum ok")
expect_match(read_text "${out_read_text}" "validLength    00 01        256 bytes asked\n  data           \\(none\\)")

# ---- decode of encode's output gives back encode's own fields ----
foreach(key 3rd-proto 3rdOrvane-proto)
  set(mode --standard)
  if(key STREQUAL "3rdOrvane-proto")
    set(mode --variant)
  endif()
  set(request --key ${key} --op write --addr 0x1000 --data 00112233445566778899aabbccddeeff
      --max 40 --scan-board 0x0102 --packet-type 9)
  run(annotated_${key} 0 ARGS encode ${request} --annotate)
  run(hex_${key} 0 ARGS encode ${request})
  run(decoded_${key} 0 INPUT ${WORK_DIR}/hex_${key}.out ARGS decode ${mode} -)
  string(REGEX REPLACE "[0-9]+ frames?, 0 pieces[^\n]*\n$" "" fields "${out_decoded_${key}}")
  expect_equal(roundtrip_${key} "${fields}" "${out_annotated_${key}}")
endforeach()

# ---- decode --log on a log the stand-in logger wrote while the demo ran ----
run(demo_log 0 ARGS demo --quiet --key 3rd-proto --size 2048 --log-level debug --log-file ${WORK_DIR}/demo.log)
run(log 1 ARGS decode --log --json ${WORK_DIR}/demo.log)
# Registers and a file, 2 packets each way: 8 requests and 8 replies, then two
# pushes with their 38-byte answers and 4 reports with theirs; the fault pass's
# frames follow.
string(REGEX MATCHALL "\"kind\":\"request\"" requests "${out_log}")
list(LENGTH requests request_count)
expect_equal(log_requests "${request_count}" "23")
expect_match(log "${out_log}" "^{\"index\":1,\"line\":[0-9]+,\"offset\":0,\"length\":1044,\"kind\":\"request\",\"checksumOk\":true")
expect_match(log "${out_log}" "\"kind\":\"truncated\"")

# ---- bad input: what is wrong and where, exit status 2 ----
file(WRITE ${WORK_DIR}/bad.txt "55 aa 00\n01 0g")
run(bad_hex 2 ARGS decode ${WORK_DIR}/bad.txt)
expect_match(bad_hex "${err_bad_hex}" "line 2, column 5: 'g' is not a hex digit")
file(WRITE ${WORK_DIR}/odd.txt "55aa 0")
run(odd_hex 2 ARGS decode ${WORK_DIR}/odd.txt)
expect_match(odd_hex "${err_odd_hex}" "line 1, column 6: odd number of hex digits")
run(bad_number 2 ARGS encode --addr 0x12zz --len 1)
expect_match(bad_number "${err_bad_number}" "0x12zz")
run(no_len 2 ARGS encode --op read)
expect_match(no_len "${err_no_len}" "needs --len")
run(no_file 2 ARGS decode ${WORK_DIR}/missing.txt)
expect_match(no_file "${err_no_file}" "cannot open")
run(unknown 2 ARGS frobnicate)
run(help 0 ARGS decode --help)
expect_match(help "${out_help}" "Examples:")

# ---- the demo passes ----
run(demo 0 ARGS demo --quiet)
expect_match(demo "${out_demo}" "all [0-9]+ checks passed")
