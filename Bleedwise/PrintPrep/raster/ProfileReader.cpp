#include "PrintPrep/raster/ProfileReader.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include <lcms2.h>
#include <lcms2_plugin.h>

namespace Bleedwise::ProfileReader {
namespace {

/// Bytes that Little CMS reads as if they were a file.
class Input {
public:
    Input(std::string_view bytes, std::shared_ptr<const void> owner)
        : bytes_(bytes), owner_(std::move(owner)) {
        handler_.stream = this;
        handler_.ReportedSize = static_cast<cmsUInt32Number>(bytes.size());
        handler_.Read = read;
        handler_.Seek = seek;
        handler_.Close = close;
        handler_.Tell = tell;
        handler_.Write = write;
    }

    /// What `profile` reads from; a null pointer when it is another's.
    static const Input* under(void* profile) {
        cmsIOHANDLER* handler = cmsGetProfileIOhandler(profile);
        return handler && handler->Read == read ? &of(handler) : nullptr;
    }

    /// Four bytes at `place`, the largest first.
    std::optional<std::uint32_t> numberAt(std::size_t place) const {
        if (place > bytes_.size() || bytes_.size() - place < 4)
            return std::nullopt;
        std::uint32_t number = 0;
        for (const char byte : bytes_.substr(place, 4))
            number = number << 8U | static_cast<unsigned char>(byte);
        return number;
    }

    /// Whoever closes it deletes this object.
    cmsIOHANDLER* handler() { return &handler_; }

private:
    static Input& of(cmsIOHANDLER* handler) { return *static_cast<Input*>(handler->stream); }

    static cmsUInt32Number read(cmsIOHANDLER* handler, void* destination, cmsUInt32Number size,
                                cmsUInt32Number count) {
        Input& input = of(handler);
        const std::size_t length = std::size_t{size} * count;
        if (length > input.bytes_.size() - input.place_)
            return 0;
        std::memcpy(destination, input.bytes_.data() + input.place_, length);
        input.place_ += length;
        return count;
    }

    static cmsBool seek(cmsIOHANDLER* handler, cmsUInt32Number place) {
        Input& input = of(handler);
        if (place > input.bytes_.size())
            return FALSE;
        input.place_ = place;
        return TRUE;
    }

    static cmsUInt32Number tell(cmsIOHANDLER* handler) {
        return static_cast<cmsUInt32Number>(of(handler).place_);
    }

    static cmsBool write(cmsIOHANDLER*, cmsUInt32Number, const void*) { return FALSE; }

    static cmsBool close(cmsIOHANDLER* handler) {
        delete &of(handler);
        return TRUE;
    }

    std::string_view bytes_;
    std::shared_ptr<const void> owner_;
    std::size_t place_ = 0;
    cmsIOHANDLER handler_ = {};
};

template <auto release>
struct Releaser {
    template <typename Type>
    void operator()(Type* object) const {
        release(object);
    }
};
using Pipeline = std::unique_ptr<cmsPipeline, Releaser<cmsPipelineFree>>;
using Stage = std::unique_ptr<cmsStage, Releaser<cmsStageFree>>;
using Curve = std::unique_ptr<cmsToneCurve, Releaser<cmsFreeToneCurve>>;

/// Numbers as they are in the file, the larger byte first.
bool readNumbers(cmsIOHANDLER* input, std::span<std::uint16_t> numbers) {
    const auto count = static_cast<cmsUInt32Number>(numbers.size());
    if (input->Read(input, numbers.data(), sizeof(std::uint16_t), count) != count)
        return false;
    if constexpr (std::endian::native == std::endian::little) {
        for (std::uint16_t& number : numbers)
            number = static_cast<std::uint16_t>(number << 8U | number >> 8U);
    }
    return true;
}

/// Puts the stage at the end; false when there is none, or it does not fit there.
bool append(cmsPipeline& pipeline, Stage stage) {
    return cmsPipelineInsertStage(&pipeline, cmsAT_END, stage.release()) != FALSE;
}

/// Reads and takes the tables of the channels. None of them may have a single entry.
bool appendCurves(cmsPipeline& pipeline, cmsContext context, cmsIOHANDLER* input,
                  std::size_t channels, std::size_t entries) {
    if (entries < 2)
        return entries == 0;
    std::vector<std::uint16_t> numbers(entries);
    std::array<Curve, cmsMAXCHANNELS> curves;
    std::array<cmsToneCurve*, cmsMAXCHANNELS> pointers{};
    for (std::size_t channel = 0; channel < channels; ++channel) {
        if (!readNumbers(input, numbers))
            return false;
        curves[channel].reset(cmsBuildTabulatedToneCurve16(
            context, static_cast<cmsUInt32Number>(entries), numbers.data()));
        pointers[channel] = curves[channel].get();
        if (!curves[channel])
            return false;
    }
    return append(pipeline, Stage(cmsStageAllocToneCurves(
                                context, static_cast<cmsUInt32Number>(channels), pointers.data())));
}

/// Whether a grid has so many numbers, counted where they cannot overflow.
bool isGridSize(std::size_t size, std::size_t inputs, std::size_t outputs, std::size_t steps) {
    std::uint64_t expected = outputs;
    for (std::size_t axis = 0; axis < inputs && expected <= size; ++axis)
        expected *= steps;
    return expected == size;
}

/// Reads the grid, with so many steps per axis, straight to where Little CMS keeps it.
bool appendGrid(cmsPipeline& pipeline, cmsContext context, cmsIOHANDLER* input, unsigned inputs,
                unsigned outputs, unsigned steps) {
    if (steps < 2)
        return steps == 0;
    Stage stage(cmsStageAllocCLut16bit(context, steps, inputs, outputs, nullptr));
    if (!stage)
        return false;
    const auto& grid = *static_cast<const _cmsStageCLutData*>(cmsStageData(stage.get()));
    return isGridSize(grid.nEntries, inputs, outputs, steps) &&
           readNumbers(input, {grid.Tab.T, grid.nEntries}) && append(pipeline, std::move(stage));
}

/// Reads the matrix, which only three channels have a use for.
bool appendMatrix(cmsPipeline& pipeline, cmsContext context, cmsIOHANDLER* input, unsigned inputs) {
    std::array<double, 9> numbers{};
    for (double& number : numbers) {
        if (!_cmsRead15Fixed16Number(input, &number))
            return false;
    }
    cmsMAT3 matrix;
    static_assert(sizeof matrix == sizeof numbers);
    std::memcpy(&matrix, numbers.data(), sizeof matrix);
    return inputs != 3 || _cmsMAT3isIdentity(&matrix) ||
           append(pipeline, Stage(cmsStageAllocMatrix(context, 3, 3, numbers.data(), nullptr)));
}

/// A table of the type lut16Type (ICC.1:2010, 10.10) behind its signature.
void* readTable(cmsTagTypeHandler* self, cmsIOHANDLER* input, cmsUInt32Number* count,
                cmsUInt32Number /*size*/) {
    const auto isChannelCount = [](unsigned number) {
        return number >= 1 && number <= cmsMAXCHANNELS;
    };
    constexpr unsigned mostEntries = 0x7fff;
    *count = 0;
    std::array<std::uint8_t, 4> head{};
    if (input->Read(input, head.data(), head.size(), 1) != 1)
        return nullptr;
    const auto [inputs, outputs, steps, padding] = head;
    if (!isChannelCount(inputs) || !isChannelCount(outputs))
        return nullptr;
    cmsContext context = self->ContextID;
    Pipeline pipeline(cmsPipelineAlloc(context, inputs, outputs));
    std::array<std::uint16_t, 2> entries{};
    if (!pipeline || !appendMatrix(*pipeline, context, input, inputs) ||
        !readNumbers(input, entries) || entries[0] > mostEntries || entries[1] > mostEntries ||
        !appendCurves(*pipeline, context, input, inputs, entries[0]) ||
        !appendGrid(*pipeline, context, input, inputs, outputs, steps) ||
        !appendCurves(*pipeline, context, input, outputs, entries[1]))
        return nullptr;
    *count = 1;
    return pipeline.release();
}

cmsBool refuseToWrite(cmsTagTypeHandler*, cmsIOHANDLER*, void*, cmsUInt32Number) {
    return FALSE;
}

void* duplicateTable(cmsTagTypeHandler*, const void* table, cmsUInt32Number) {
    return cmsPipelineDup(static_cast<const cmsPipeline*>(table));
}

void freeTable(cmsTagTypeHandler*, void* table) {
    cmsPipelineFree(static_cast<cmsPipeline*>(table));
}

/// Where tables are read in one go; without the memory for it, Little CMS's usual one.
cmsContext fastContext() {
    static cmsPluginTagType plugin = {
        {cmsPluginMagicNumber, LCMS_VERSION, cmsPluginTagTypeSig, nullptr},
        {cmsSigLut16Type, readTable, refuseToWrite, duplicateTable, freeTable, nullptr, 0}};
    static cmsContext context = cmsCreateContext(&plugin, nullptr);
    return context;
}

} // namespace

void* open(std::string_view bytes, std::shared_ptr<const void> owner) {
    if (bytes.size() > std::numeric_limits<std::uint32_t>::max())
        return nullptr;
    auto input = std::make_unique<Input>(bytes, std::move(owner));
    return cmsOpenProfileFromIOhandlerTHR(fastContext(), input.release()->handler());
}

std::optional<std::uint32_t> typeOf(void* profile, std::uint32_t tag) {
    constexpr std::size_t header = 128; // ICC.1:2010, 7.3: the tags follow it
    constexpr std::size_t entryBytes = 12;
    const Input* input = Input::under(profile);
    const std::uint32_t count = input ? input->numberAt(header).value_or(0) : 0;
    for (std::size_t index = 0; index < count; ++index) {
        const std::size_t entry = header + 4 + entryBytes * index;
        const auto name = input->numberAt(entry);
        const auto place = input->numberAt(entry + 4);
        if (!name || !place)
            return std::nullopt;
        if (*name == tag)
            return input->numberAt(*place);
    }
    return std::nullopt;
}

} // namespace Bleedwise::ProfileReader
