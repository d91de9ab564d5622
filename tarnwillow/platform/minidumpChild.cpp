#include "tarnwillow/platform/minidumpChild.h"

#include <sched.h>
#include <sys/utsname.h>

#include <cstring>

#include "tarnwillow/platform/childCalls.h"
#include "tarnwillow/platform/minidumpFile.h"
#include "tarnwillow/platform/minidumpMemory.h"
#include "tarnwillow/platform/minidumpModules.h"
#include "tarnwillow/platform/minidumpProcess.h"
#include "tarnwillow/platform/minidumpThreads.h"

namespace tarnwillow::platform::minidump {

namespace {

// A stack is written from its pointer on. Deep recursion fills megabytes, of which the inner frames
// tell most; and with many threads the file must stay below the format's limit.
constexpr std::uint64_t kMostStack = std::uint64_t{1} << 20;
constexpr std::uint64_t kMostStackOfMany = 16 * 1024;
constexpr std::size_t kMany = 64;
constexpr std::uint64_t kAroundInstruction = 512;
constexpr std::size_t kMostName = 32;

class Dump {
public:
    explicit Dump(Request& request)
        : request_(request),
          file_(request.file),
          threads_(request.process, request.caller),
          process_(request.process, request.full),
          memory_(file_, process_) {}

    bool write() {
        fill_in_known_registers();
        write_system();
        write_identity();
        write_threads();
        write_names();
        write_exception();
        write_modules(file_, process_);
        come_on(&request_);
        write_memory();
        write_proc_files();
        if (request_.full) write_all_memory(file_, process_, come_on, &request_);
        return file_.finish(request_.time, request_.full ? 2 : 0);
    }

private:
    static void come_on(void* request) {
        std::atomic_ref(static_cast<Request*>(request)->progress).fetch_add(1);
    }

    void fill_in(pid_t id, const Registers& registers) {
        ThreadState* thread = threads_.find(id);
        if (thread == nullptr) return;
        thread->registers = registers;
        thread->known = true;
    }

    // The fault's own registers are the ones to look at, not those of the handler on top of it.
    void fill_in_known_registers() {
        Registers registers;
        read_registers(request_.caller_context, &registers);
        fill_in(request_.caller, registers);
        if (request_.fault.has_registers) fill_in(request_.fault.thread, request_.fault.registers);
    }

    template <class Record>
    void write_stream(StreamType type, const Record& record) {
        const std::uint32_t start = file_.next();
        file_.add(&record, sizeof record);
        file_.note_stream(type, start);
    }

    void write_system();
    void write_identity();
    void write_threads();
    void write_names();
    void write_exception();
    void write_memory();
    void write_proc_files();
    Thread describe(ThreadState& state);

    Request& request_;
    File file_;
    Threads threads_;  // stand still before the map is read
    const Process process_;
    MemoryList memory_;
};

std::uint32_t take_number(char const*& text) {
    std::uint32_t value = 0;
    for (; *text >= '0' && *text <= '9'; ++text)
        value = value * 10 + static_cast<std::uint32_t>(*text - '0');
    if (*text != 0) ++text;
    return value;
}

// Bytes of the name, without the line end behind it.
std::size_t read_thread_name(pid_t thread, char* name, std::size_t room) {
    const int file = open_proc_file(thread, "comm");
    if (file < 0) return 0;
    const ssize_t size = child::read_some(file, name, room);
    child::close_file(file);
    return size > 0 ? static_cast<std::size_t>(size - 1) : 0;
}

std::uint8_t count_processors() {
    unsigned long mask[64] = {};
    const long size = syscall(SYS_sched_getaffinity, 0, sizeof mask, mask);
    int count = 0;
    for (std::size_t i = 0; size > 0 && i < sizeof mask / sizeof mask[0]; ++i)
        count += __builtin_popcountl(mask[i]);
    return static_cast<std::uint8_t>(count < 255 ? count : 255);
}

void Dump::write_system() {
    SystemInfo info{};
    utsname system{};
    syscall(SYS_uname, &system);
    char const* version = system.release;
    info.major = take_number(version);
    info.minor = take_number(version);
    info.build = take_number(version);
    info.platform = kPlatformLinux;
    info.processors = count_processors();
    describe_processor(&info);
    info.version_text_position = file_.add_text(system.version, strnlen(system.version, 64));
    write_stream(StreamType::SystemInfo, info);
}

void Dump::write_identity() {
    MiscInfo info{};
    info.size = sizeof info;
    info.known = kProcessIdKnown;
    info.process_id = static_cast<std::uint32_t>(request_.process);
    write_stream(StreamType::MiscInfo, info);
}

Thread Dump::describe(ThreadState& state) {
    Thread thread{};
    thread.id = static_cast<std::uint32_t>(state.id);
    if (state.known) {
        const bool first = state.id == request_.fault.thread || threads_.size() <= kMany;
        const std::uint64_t limit = first ? kMostStack : kMostStackOfMany;
        thread.stack = memory_.add_stack(stack_pointer(state.registers), limit);
    }
    thread.context = file_.add(&state.registers, sizeof state.registers);
    return thread;
}

void Dump::write_threads() {
    auto* records = child::objects<Thread>(threads_.size());
    if (records == nullptr || threads_.size() == 0) return file_.give_up();
    const auto count = static_cast<std::uint32_t>(threads_.size());
    for (std::size_t i = 0; i < count; ++i) {
        records[i] = describe(threads_.begin()[i]);
        come_on(&request_);
    }
    const std::uint32_t start = file_.next();
    file_.add(&count, sizeof count);
    file_.add_more(records, count * sizeof(Thread));
    file_.note_stream(StreamType::ThreadList, start);
}

void Dump::write_names() {
    auto* names = child::objects<ThreadName>(threads_.size());
    if (names == nullptr) return file_.give_up();
    std::uint32_t count = 0;
    for (const ThreadState& thread : threads_) {
        char name[kMostName];
        const std::size_t size = read_thread_name(thread.id, name, sizeof name);
        if (size == 0) continue;
        names[count++] = {static_cast<std::uint32_t>(thread.id), file_.add_text(name, size)};
    }
    const std::uint32_t start = file_.next();
    file_.add(&count, sizeof count);
    file_.add_more(names, count * sizeof(ThreadName));
    file_.note_stream(StreamType::ThreadNames, start);
}

void Dump::write_exception() {
    const Fault& fault = request_.fault;
    if (!fault.there) return;
    Exception exception{};
    exception.thread = static_cast<std::uint32_t>(fault.thread);
    exception.code = fault.code;
    exception.address = fault.address;
    exception.parameter_count = 1;
    exception.parameters[0] = fault.instruction;
    const ThreadState* thread = threads_.find(fault.thread);
    const Registers& registers =
        fault.has_registers || thread == nullptr ? fault.registers : thread->registers;
    exception.context = file_.add(&registers, sizeof registers);
    write_stream(StreamType::Exception, exception);
}

void Dump::write_memory() {
    if (request_.fault.has_registers)
        memory_.add_around(instruction_pointer(request_.fault.registers), kAroundInstruction);
    memory_.write();
}

void Dump::write_proc_files() {
    constexpr struct {
        StreamType type;
        char const* name;
    } kFiles[] = {{StreamType::LinuxProcStatus, "status"},
                  {StreamType::LinuxCmdLine, "cmdline"},
                  {StreamType::LinuxAuxv, "auxv"},
                  {StreamType::LinuxMaps, "maps"}};
    for (const auto& wanted : kFiles) {
        const ProcFile content = read_proc_file(request_.process, wanted.name);
        const std::uint32_t start = file_.next();
        file_.add(content.bytes, content.size);
        file_.note_stream(wanted.type, start);
    }
}

}  // namespace

bool write_dump(Request& request) { return Dump(request).write(); }

}  // namespace tarnwillow::platform::minidump
