// httpValue HOST PORT PATH: prints the attribute "version" of an XML document's first element.
#include <tarnwillow/network/CHTTPConnection.h>
#include <tarnwillow/text/CAutoUnicodeString.h>
#include <tarnwillow/text/CSmartBuffer.h>
#include <tarnwillow/xml/CXMLParser.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

using namespace tarnwillow;

int main(int argc, char** argv) {
    if (argc != 4) return 2;
    CHTTPConnection connection;
    const auto port = static_cast<unsigned short>(std::atoi(argv[2]));
    long status = 0;
    if (connection.Initialize(u"httpValue/1.0", CAutoUnicodeString(argv[1]), port, false, false,
                              false, false, false, false, false) != 0 ||
        connection.Connect(CAutoUnicodeString(argv[3]), u"GET", false, nullptr, nullptr) != 0 ||
        connection.Send_Request(&status, nullptr) != 0 || status != 200)
        return 1;  // connection.Get_Last_Failure() tells why there was no answer

    CSmartBuffer buffer;
    buffer.Initialize_From_Callback(0, CHTTPConnection::SmartBufferInitProc,
                                    reinterpret_cast<long>(&connection));
    buffer.Convert_To_Unicode();
    buffer.Move_To(0UL);
    CXMLParser* parser = nullptr;
    if (buffer.Create_XML_Parser(&parser) != 0) return 1;
    const std::unique_ptr<CXMLParser> owner(parser);

    char16_t version[512];
    int room = 511;
    if (parser->Move_To_Child(nullptr) != 0 ||
        parser->Get_Current_Node_Attribute(u"version", version, &room) != 0)
        return 1;
    for (char16_t const* c = version; *c != 0; ++c)
        std::putchar(static_cast<char>(*c));
    std::putchar('\n');
}
