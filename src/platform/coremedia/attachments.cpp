#include "platform/coremedia/sample_buffer.h"

#include <algorithm>
#include <new>

namespace vx {

namespace {
auto find(std::vector<CMSampleBuffer::Attachment>& attachments, std::string_view key) {
  return std::find_if(attachments.begin(), attachments.end(),
                      [&](const CMSampleBuffer::Attachment& each) { return each.key == key; });
}
}  // namespace

void CMSetAttachment(CMSampleBufferRef target, std::string_view key, Object value,
                     CMAttachmentMode mode) {
  if (!target) {
    return;
  }
  const auto found = find(target->attachments, key);
  if (found != target->attachments.end()) {
    found->value = std::move(value);
    found->mode = mode;
  } else {
    try {
      target->attachments.push_back({std::string(key), std::move(value), mode});
    } catch (const std::bad_alloc&) {
      // An attachment is a wish; the sample goes on without it.
    }
  }
}

const Object* CMGetAttachment(CMSampleBufferRef target, std::string_view key,
                              CMAttachmentMode* modeOut) {
  if (!target) {
    return nullptr;
  }
  const auto found = find(target->attachments, key);
  if (found == target->attachments.end()) {
    return nullptr;
  }
  if (modeOut) {
    *modeOut = found->mode;
  }
  return &found->value;
}

}  // namespace vx
