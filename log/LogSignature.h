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

// The signature texts of the operations both analyzers have, for the class
// named by cls ("ProtoAnalyze3rd::"): one constant per operation, defined in
// the analyzer's .cpp where it logs.
#define ZSIG_ANALYZER_OPERATIONS(cls)                                                                              \
    const char* const SIG_analyze_ClientData = ZSIG_RESULT cls                                                     \
        "analyze_ClientData(const unsigned __int64 &,const enum em_RequestType &,void *," ZSIG_MSG_LIST            \
        " &,const " ZSIG_STRING " &,const bool &)";                                                                \
    const char* const SIG_analyze_ReadRequest = ZSIG_RESULT cls                                                    \
        "analyze_ReadRequest(const unsigned __int64 &," ZSIG_REQUEST_PTR "," ZSIG_MSG_LIST " &,const bool &)";     \
    const char* const SIG_analyze_WriteRequest = ZSIG_RESULT cls                                                   \
        "analyze_WriteRequest(const unsigned __int64 &," ZSIG_REQUEST_PTR "," ZSIG_MSG_LIST " &,const bool &)";    \
    const char* const SIG_analyze_ReadFileRequest = ZSIG_RESULT cls "analyze_ReadFileRequest" ZSIG_FILE_REQUEST;   \
    const char* const SIG_analyze_WriteFileRequest = ZSIG_RESULT cls "analyze_WriteFileRequest" ZSIG_FILE_REQUEST; \
    const char* const SIG_analyze_OnePackageRequst =                                                               \
        ZSIG_RESULT cls "analyze_OnePackageRequst(const struct ST_RegisterAddrAndValid &," ZSIG_REQUEST_PTR        \
                        ",struct ST_MSGToHardDriver &)";                                                           \
    const char* const SIG_analyze_DeviceData =                                                                     \
        ZSIG_RESULT cls "analyze_DeviceData(const enum em_RequestType &,const " ZSIG_STRING                        \
                        " &,const struct ST_MSGToHardDriverMatch &,int &)";                                        \
    const char* const SIG_analyzeDeviceData_ByCommonProtocol =                                                     \
        ZSIG_RESULT cls "analyzeDeviceData_ByCommonProtocol(const " ZSIG_STRING " &,const " ZSIG_MATCH_VECTOR      \
                        " &,const enum em_RequestType &,int &)"
#define ZSIG_FILE_REQUEST \
    "(const unsigned __int64 &,const " ZSIG_STRING " &," ZSIG_REQUEST_PTR "," ZSIG_MSG_LIST " &,const bool &)"
