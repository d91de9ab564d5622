#include <tarnwillow/automation/CDispParamsMaster.h>
#include <tarnwillow/automation/CDispatchMaster.h>
#include <tarnwillow/automation/IResultDispatchInterface.h>

#include <cstdio>

using namespace tarnwillow;

// What a script's call of "add" runs.
long add(DISPPARAMS* params, VARIANT* result, EXCEPINFO*, unsigned int*, IResultDispatchInterface*,
         long first_user_value, long) {
    CDispParamsMaster arguments(params);
    const int types[] = {VT_I4, VT_I4};
    const long wrong = arguments.Validate_Params(2, 2, 1, types, nullptr, nullptr);
    if (wrong != S_OK) return wrong;
    if (result == nullptr) return S_OK;
    result->vt = VT_I4;
    result->llVal =
        first_user_value + arguments.Get_Numeric_Param(0, 0) + arguments.Get_Numeric_Param(1, 0);
    return S_OK;
}

int main() {
    IResultDispatchInterface* const object = CreateResultDispatch();
    object->Set_Property(u"title", u"Notes");
    void* face = nullptr;
    object->QueryInterface(IID_IResultDispatchInterface2, &face);
    static_cast<IResultDispatchInterface2*>(face)->Set_Method(u"add", add, 100, 0);
    static_cast<IResultDispatchInterface2*>(face)->Release();

    // From here on as a script's host sees it.
    object->QueryInterface(IID_IDispatch, &face);
    CDispatchMaster script(static_cast<IDispatch*>(face));
    static_cast<IDispatch*>(face)->Release();

    char title[16] = {};
    VARIANT sum{};
    script.Get_Property(u"title", title, 15);
    script.Invoke_Method(u"add(20, '3')", nullptr, &sum);
    std::printf("%s: %d\n", title, sum.lVal);
    VariantClear(&sum);
    object->Release();
}
