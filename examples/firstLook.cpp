#include <tarnwillow/tarnwillow.h>

#include <cstdio>

using namespace tarnwillow;

int main() {
    CSmartBuffer text;
    text.Initialize(256);
    text.Write("<window title='Notes'><size>800x600</size></window>");
    text.Convert_To_Unicode();
    text.Move_To(0);

    CXMLParser* document = nullptr;
    if (text.Create_XML_Parser(&document) != S_OK) return 1;
    char16_t title[256], size[256];
    document->Move_To_Child(u"window");
    document->Get_Current_Node_Attribute(u"title", title, nullptr);
    document->Move_To_Child(u"size");
    document->Get_Current_Node_Data_String(size, 256, true);
    std::printf("%s is %s\n", static_cast<char const*>(CAutoAnsiString(title)),
                static_cast<char const*>(CAutoAnsiString(size)));
    delete document;
}
