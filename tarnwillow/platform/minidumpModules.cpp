#include "tarnwillow/platform/minidumpModules.h"

#include <elf.h>

#include <cstring>

#include "tarnwillow/platform/childCalls.h"

namespace tarnwillow::platform::minidump {

namespace {

constexpr std::size_t kMostModules = 4096;
constexpr std::size_t kMostSegments = 256;
constexpr std::size_t kMostNotes = 4096;
constexpr std::size_t kMostBuildId = 64;
constexpr std::uint64_t kPage = 4096;

/// A stretch of mappings of one file.
struct Image {
    Mapping const* first;
    std::uint64_t end;
    bool has_code;
};

bool same_file(const Mapping& a, const Mapping& b) {
    return a.path_size == b.path_size && std::memcmp(a.path, b.path, a.path_size) == 0;
}

bool is_elf(const Process& process, std::uint64_t base, Elf64_Ehdr* header) {
    return process.read_object(base, header) &&
           std::memcmp(header->e_ident, ELFMAG, SELFMAG) == 0 &&
           header->e_ident[EI_CLASS] == ELFCLASS64 && header->e_phentsize == sizeof(Elf64_Phdr);
}

/// Room for the record, whose head and id follow one another.
struct BuildId {
    BuildIdHead head;
    std::uint8_t bytes[kMostBuildId];
    std::size_t size;
};

std::uint64_t padded(std::uint64_t size) { return (size + 3) & ~std::uint64_t{3}; }

// The notes come from the process and may hold anything: every size is checked against what is
// left.
bool find_in_notes(char const* notes, std::size_t size, BuildId* id) {
    while (size >= sizeof(Elf64_Nhdr)) {
        Elf64_Nhdr note;
        std::memcpy(&note, notes, sizeof note);
        const std::uint64_t name_at = sizeof note;
        const std::uint64_t id_at = name_at + padded(note.n_namesz);
        const std::uint64_t next = id_at + padded(note.n_descsz);
        if (id_at + note.n_descsz > size) return false;
        const bool gnu = note.n_namesz == 4 && std::memcmp(notes + name_at, "GNU", 4) == 0;
        if (gnu && note.n_type == NT_GNU_BUILD_ID && note.n_descsz <= kMostBuildId) {
            id->size = note.n_descsz;
            std::memcpy(id->bytes, notes + id_at, id->size);
            return id->size > 0;
        }
        if (next >= size) return false;
        notes += next;
        size -= next;
    }
    return false;
}

/// The table of segments of a loaded image.
class Segments {
public:
    Segments(const Process& process, std::uint64_t base, const Elf64_Ehdr& header)
        : process_(process), base_(base), count_(header.e_phnum) {
        if (count_ > kMostSegments) count_ = kMostSegments;
        const std::size_t size = count_ * sizeof(Elf64_Phdr);
        if (process.read(base + header.e_phoff, segments_, size) != size) count_ = 0;
    }

    bool read_build_id(BuildId* id) const {
        for (std::size_t i = 0; i < count_; ++i)
            if (segments_[i].p_type == PT_NOTE && read_notes(segments_[i], id)) return true;
        return false;
    }

private:
    // What was added to the addresses of the file when it was loaded.
    std::uint64_t bias() const {
        for (std::size_t i = 0; i < count_; ++i)
            if (segments_[i].p_type == PT_LOAD)
                return base_ - (segments_[i].p_vaddr & ~(kPage - 1));
        return base_;
    }

    bool read_notes(const Elf64_Phdr& segment, BuildId* id) const {
        char notes[kMostNotes];
        const std::size_t wanted = segment.p_filesz < kMostNotes ? segment.p_filesz : kMostNotes;
        const std::size_t size = process_.read(bias() + segment.p_vaddr, notes, wanted);
        return find_in_notes(notes, size, id);
    }

    const Process& process_;
    const std::uint64_t base_;
    std::size_t count_;
    Elf64_Phdr segments_[kMostSegments];
};

class ModuleList {
public:
    ModuleList(File& file, const Process& process)
        : file_(file),
          process_(process),
          modules_(child::objects<Module>(kMostModules)),
          program_entry_(process.auxiliary_value(AT_ENTRY)) {}

    void collect() {
        for (std::size_t i = 0; i < process_.mapping_count(); ++i)
            if (process_.mappings()[i].is_of_file() && process_.mappings()[i].file_offset == 0)
                consider(image_from(i));
    }

    void write() {
        const std::uint32_t start = file_.next();
        const auto count = static_cast<std::uint32_t>(count_);
        file_.add(&count, sizeof count);
        file_.add_more(modules_, count_ * sizeof(Module));
        file_.note_stream(StreamType::ModuleList, start);
    }

private:
    Image image_from(std::size_t index) const {
        Image image{&process_.mappings()[index], 0, false};
        for (std::size_t i = index; i < process_.mapping_count(); ++i) {
            const Mapping& mapping = process_.mappings()[i];
            const bool other_image = i > index && mapping.file_offset == 0;
            if (!same_file(mapping, *image.first) || other_image) break;
            image.end = mapping.end;
            image.has_code = image.has_code || mapping.executable;
        }
        return image;
    }

    void consider(const Image& image) {
        Elf64_Ehdr header;
        if (modules_ == nullptr || count_ == kMostModules || !image.has_code) return;
        if (!is_elf(process_, image.first->start, &header)) return;
        Module& module = modules_[count_++];
        describe(image, header, &module);
        const bool program = program_entry_ >= image.first->start && program_entry_ < image.end;
        if (program) move_to_front(module);
    }

    void describe(const Image& image, const Elf64_Ehdr& header, Module* module) {
        module->base = image.first->start;
        module->size = static_cast<std::uint32_t>(image.end - image.first->start);
        module->name_position = file_.add_text(image.first->path, image.first->path_size);
        BuildId id{{kBuildIdSignature}, {}, 0};
        if (Segments(process_, module->base, header).read_build_id(&id))
            module->code_view = file_.add(&id, sizeof id.head + id.size);
    }

    void move_to_front(Module& module) {
        const Module first = modules_[0];
        modules_[0] = module;
        if (count_ > 1) module = first;
    }

    File& file_;
    const Process& process_;
    Module* const modules_;
    std::size_t count_ = 0;
    const std::uint64_t program_entry_;
};

}  // namespace

void write_modules(File& file, const Process& process) {
    ModuleList list(file, process);
    list.collect();
    list.write();
}

}  // namespace tarnwillow::platform::minidump
