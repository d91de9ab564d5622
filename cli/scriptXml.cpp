#include "scriptXml.h"

#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "scriptObjects.h"
#include "tarnwillow/automation/CDispParamsMaster.h"
#include "tarnwillow/automation/IObjectDispatchWrapper.h"
#include "tarnwillow/text/characterSets.h"
#include "xmlDocument.h"

namespace tarnwillow::cli {

namespace {

enum Member : long { kName, kText, kAttribute, kChild, kNext, kParent, kRoot, kMemberCount };

constexpr std::u16string_view kMemberNames[kMemberCount] = {
    u"name", u"text", u"attribute", u"child", u"next", u"parent", u"root"};

/// Lives as long as its wrapper.
class XmlTarget final : public IScriptObjectTarget {
public:
    explicit XmlTarget(std::unique_ptr<CXMLParser> parser) : parser_(std::move(parser)) {}

    long Find_Member(char16_t* name) override {
        for (long id = 0; id < kMemberCount; ++id)
            if (kMemberNames[id] == name) return id;
        return -1;
    }

    long Get_Member(long id, VARIANT* result, char16_t*) override {
        if (id == kName) return give_name(result);
        return id == kText ? give_data(result) : DISP_E_MEMBERNOTFOUND;
    }

    long Put_Member(long, VARIANT*, char16_t* error_text) override {
        std::u16string_view(u"a document is only read").copy(error_text, 1023);
        return E_FAIL;
    }

    long Call_Member(long id, DISPPARAMS* params, VARIANT* result, char16_t*) override {
        CDispParamsMaster arguments(params);
        char16_t const* const name = arguments.Get_Str_Param(0, nullptr);
        switch (id) {
            case kAttribute:
                return give_attribute(name, result);
            case kChild:
                return give_bool(result, parser_->Move_To_Child(name) == S_OK);
            case kNext:
                return give_bool(result, parser_->Move_To_Sibling(name) == S_OK);
            case kParent:
                return give_bool(result, move_up());
            case kRoot:
                return give_bool(result, move_to_document_element());
            default:
                return DISP_E_MEMBERNOTFOUND;
        }
    }

    unsigned long Get_Target_Value() override { return 0; }
    void Wrapper_Released() override { delete this; }

    bool move_to_document_element() {
        parser_->Move_To_Root_Node();
        return parser_->Move_To_Child(nullptr) == S_OK;
    }

private:
    ~XmlTarget() = default;

    // Never above the document element.
    bool move_up() {
        char16_t name[256];
        parser_->Move_To_Parent();
        if (parser_->Get_Current_Node(name) == S_OK) return true;
        move_to_document_element();
        return false;
    }

    long give_name(VARIANT* result) {
        char16_t name[256] = {};
        const long status = parser_->Get_Current_Node(name);
        return status == S_OK ? give_text(result, name) : status;
    }

    long give_data(VARIANT* result) {
        void* data = nullptr;
        int length = 0;
        parser_->Get_Current_Node_Raw_Data(&data, &length);
        result->vt = VT_BSTR;
        result->bstrVal =
            SysAllocStringLen(static_cast<char16_t const*>(data),
                              static_cast<std::uint32_t>(data != nullptr ? length : 0));
        return result->bstrVal != nullptr ? S_OK : E_OUTOFMEMORY;
    }

    long give_attribute(char16_t const* name, VARIANT* result) {
        if (name == nullptr) return DISP_E_PARAMNOTOPTIONAL;
        char16_t value[512] = {};
        if (parser_->Get_Current_Node_Attribute(name, value, nullptr) == S_OK)
            return give_text(result, value);
        if (result != nullptr) result->vt = VT_NULL;
        return S_OK;
    }

    std::unique_ptr<CXMLParser> parser_;
};

long wrap(std::unique_ptr<CXMLParser> parser, VARIANT* result) {
    IObjectDispatchWrapper* const wrapper = CreateObjectDispatchWrapper();
    auto* const target = new (std::nothrow) XmlTarget(std::move(parser));
    if (wrapper == nullptr || target == nullptr) {
        if (target != nullptr) target->Wrapper_Released();
        if (wrapper != nullptr) wrapper->Release();
        return E_OUTOFMEMORY;
    }
    target->move_to_document_element();
    wrapper->Attach_Target(static_cast<IScriptObjectTarget*>(target));
    const long status = result != nullptr ? wrapper->Get_Dispatch_Variant(result) : S_OK;
    wrapper->Release();
    return status;
}

}  // namespace

long load_document(char16_t const* file, VARIANT* result) {
    char path[4096];
    long status = UnicodeToAnsi(file, path, sizeof(path));
    if (status != S_OK) return status;
    std::unique_ptr<CXMLParser> parser;
    std::string reason;
    status = read_document(path, &parser, &reason);
    return status == S_OK ? wrap(std::move(parser), result) : status;
}

}  // namespace tarnwillow::cli
