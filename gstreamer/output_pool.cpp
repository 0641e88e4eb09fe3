#include "gstreamer/output_pool.h"

#include <algorithm>
#include <cstring>

namespace vela::gst {
namespace {

/// Buffers a fourth longer than the longest stream, in whole pages.
gsize roomFor(gsize bytes) {
    constexpr gsize kPage = 4096;
    return (bytes + bytes / 4 + kPage) / kPage * kPage;
}

} // namespace

OutputPool::OutputPool() {
    gst_allocation_params_init(&params_);
}

OutputPool::~OutputPool() {
    clear();
}

void OutputPool::clear() {
    drop();
    if (pool_ != nullptr)
        gst_buffer_pool_set_active(pool_, FALSE);
    gst_clear_object(&pool_);
    gst_clear_object(&allocator_);
    gst_allocation_params_init(&params_);
}

void OutputPool::configure(GstAllocator* allocator, const GstAllocationParams& params) {
    clear();
    if (allocator != nullptr)
        allocator_ = static_cast<GstAllocator*>(gst_object_ref(allocator));
    params_ = params;
}

void OutputPool::expect(gsize bytes) {
    estimate_ = bytes;
}

bool OutputPool::makePool(gsize room) {
    if (pool_ != nullptr)
        gst_buffer_pool_set_active(pool_, FALSE); // buffers in use end with their last user
    gst_clear_object(&pool_);
    pool_ = gst_buffer_pool_new();
    room_ = room;
    GstStructure* const config = gst_buffer_pool_get_config(pool_);
    gst_buffer_pool_config_set_params(config, nullptr, guint(room), 0, 0);
    gst_buffer_pool_config_set_allocator(config, allocator_, &params_);
    if (gst_buffer_pool_set_config(pool_, config) != FALSE &&
        gst_buffer_pool_set_active(pool_, TRUE) != FALSE)
        return true;
    gst_clear_object(&pool_); // the next frame tries anew
    return false;
}

bool OutputPool::begin() {
    drop();
    // The pool follows the estimate up at once, and down when most of its memory lies idle.
    const gsize wanted = roomFor(estimate_);
    if ((pool_ == nullptr || estimate_ > room_ || wanted < room_ / 4) && !makePool(wanted))
        return false;
    return moveTo(room_);
}

/// The stream so far, in a buffer of the pool, which is made anew where its buffers are shorter.
bool OutputPool::moveTo(gsize room) {
    if (room > G_MAXUINT || (room > room_ && !makePool(room)))
        return false;
    GstBuffer* next = nullptr;
    GstMapInfo map;
    if (gst_buffer_pool_acquire_buffer(pool_, &next, nullptr) != GST_FLOW_OK)
        return false;
    if (!gst_buffer_map(next, &map, GST_MAP_WRITE)) {
        gst_buffer_unref(next);
        return false;
    }
    if (buffer_ != nullptr) {
        std::memcpy(map.data, map_.data, used_);
        gst_buffer_unmap(buffer_, &map_);
        gst_buffer_unref(buffer_);
    }
    buffer_ = next;
    map_ = map;
    return true;
}

bool OutputPool::append(const void* bytes, gsize count) {
    if (count > map_.size - used_ && !moveTo(roomFor(2 * used_ + count)))
        return false;
    std::memcpy(map_.data + used_, bytes, count);
    used_ += count;
    return true;
}

GstBuffer* OutputPool::end() {
    estimate_ = std::max(used_, estimate_ - estimate_ / 64);
    gst_buffer_unmap(buffer_, &map_);
    gst_buffer_set_size(buffer_, gssize(used_));
    used_ = 0;
    GstBuffer* const stream = buffer_;
    buffer_ = nullptr;
    return stream;
}

void OutputPool::drop() {
    if (buffer_ != nullptr) {
        gst_buffer_unmap(buffer_, &map_);
        gst_buffer_unref(buffer_);
        buffer_ = nullptr;
    }
    used_ = 0;
}

} // namespace vela::gst
