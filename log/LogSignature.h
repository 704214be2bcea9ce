// Pieces of the signature texts that the host's logs carry: the full function
// signature as the Windows compiler prints it (return type, __cdecl, qualified
// name, parameter types). They are spelled out as constants so that every
// platform logs the same text.
#pragma once

#define ZSIG_STRING "class std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> >"
#define ZSIG_STRING_VECTOR "class std::vector<" ZSIG_STRING ",class std::allocator<" ZSIG_STRING " > >"
#define ZSIG_MATCH_VECTOR \
    "class std::vector<struct ST_MSGToHardDriverMatchOne,class std::allocator<struct ST_MSGToHardDriverMatchOne> >"
#define ZSIG_MSG_LIST "class std::list<struct ST_MSGToHardDriver,class std::allocator<struct ST_MSGToHardDriver> >"
#define ZSIG_REPORT_VECTOR                                                                  \
    "class std::vector<struct ST_DeviceAutoReportResponseInfo,class std::allocator<struct " \
    "ST_DeviceAutoReportResponseInfo> >"
#define ZSIG_RESPONSE_PTR "class std::shared_ptr<class INTER_ST::ThirdGenerationCommResponse_Data>"
#define ZSIG_STRING_PTR "class std::shared_ptr<" ZSIG_STRING " >"
#define ZSIG_REQUEST_PTR "class INTER_ST::ThirdGenerationCommRequest_Data *"
#define ZSIG_RESULT "enum em_ProtoAnalyze __cdecl "
