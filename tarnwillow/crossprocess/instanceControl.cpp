#include "tarnwillow/crossprocess/instanceControl.h"

#include <memory>
#include <new>

#include "tarnwillow/core/CAutoMutex.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/crossprocess/instanceTable.h"
#include "tarnwillow/crossprocess/sharedState.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow {

using detail::InstanceLife;
using detail::InstanceRecord;
using detail::Instances;
using detail::InstanceText;

namespace {

/// Runs `body(records)` under the master mutex; `failure` without it.
template <class Result, class Body>
Result with_instances(Result failure, Body body) {
    const CAutoMutex hold(detail::instance_table().master_mutex(), detail::kWaitForEver);
    if (!hold.Is_Held()) return failure;
    return reporting_guard(
        ExceptionLevelHandled, u"Instance table",
        [&]() -> Result {
            Instances instances = detail::instance_table().instances();
            instances.settle();
            return body(instances);
        },
        [&] { return failure; });
}

bool is_pair(const InstanceRecord& record, const InstanceText& application,
             InstanceText const* qualifier) {
    return application.equals(record.application) &&
           (qualifier == nullptr || qualifier->equals(record.qualifier));
}

/// As a person expects who starts a program that runs already.
void bring_to_front(HWND window) {
    const HWND popup = GetLastActivePopup(window);
    if (IsIconic(window)) ShowWindow(window, SW_RESTORE);
    if (IsWindowVisible(popup)) SetForegroundWindow(popup);
}

/// Looks at the records of the pair up to one that lives; its index, or -1. Those whose window is
/// gone are removed, those of another title if that is asked for.
int find_living(Instances& instances, const InstanceText& application,
                InstanceText const* qualifier, bool remove_changed) {
    for (int i = 0; i < instances.count();) {
        if (!is_pair(instances[i], application, qualifier)) {
            ++i;
            continue;
        }
        const InstanceLife life = detail::life_of(instances[i], detail::kReadyMilliseconds);
        if (life == InstanceLife::alive) return i;
        if (life == InstanceLife::gone || remove_changed)
            instances.remove(i);
        else
            ++i;
    }
    return -1;
}

}  // namespace

bool First_Instance(char const* application, char const* qualifier, HWND window) {
    if (detail::instance_table().attach() != 0) return false;
    return with_instances(false, [&](Instances& instances) {
        const InstanceText name(application);
        const InstanceText pair(qualifier);
        const int living = find_living(instances, name, &pair, true);
        if (living >= 0) {
            bring_to_front(detail::window_of(instances[living]));
            return false;
        }
        instances.add(name, pair, window);
        return true;
    });
}

bool Instance_Available(char const* application, char const* qualifier) {
    if (!detail::instance_table().is_attached()) {
        detail::instance_table().attach();
        return false;
    }
    return with_instances(false, [&](Instances& instances) {
        const InstanceText pair(qualifier);
        return find_living(instances, InstanceText(application),
                           qualifier != nullptr ? &pair : nullptr, false) >= 0;
    });
}

void Update_Instance(char const*, HWND window) {
    if (!detail::instance_table().is_attached()) {
        detail::instance_table().attach();
        return;
    }
    with_instances(0, [&](Instances& instances) {
        for (int i = 0; i < instances.count(); ++i) {
            if (detail::window_of(instances[i]) != window) continue;
            instances.update_title(i);
            return 0;
        }
        return 0;
    });
}

int List_Instances(InstanceCallback callback, void* context) {
    if (detail::instance_table().attach() != 0) return -1;
    constexpr std::size_t kMost = detail::InstanceShare::kMostRecords;
    const std::unique_ptr<InstanceRecord[]> records(new (std::nothrow) InstanceRecord[kMost]);
    if (records == nullptr) return -1;
    const int count = with_instances(-1, [&](Instances& instances) {
        for (int i = 0; i < instances.count(); ++i)
            records[i] = instances[i];
        return instances.count();
    });
    for (int i = 0; i < count && callback != nullptr; ++i) {
        InstanceRecord& record = records[i];
        const bool alive = detail::life_of(record, 0) == InstanceLife::alive;
        for (auto* text : {&record.application, &record.qualifier, &record.title})
            (*text)[InstanceRecord::kTextSize - 1] = 0;
        if (!callback(record.application, record.qualifier, record.title, detail::window_of(record),
                      alive, context))
            break;
    }
    return count;
}

}  // namespace tarnwillow
