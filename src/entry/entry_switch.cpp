// Instance switching and the list of exports in progress. See entry_switch.h.
#include "entry/entry_switch.h"

#include "entry/entry_access.h"
#include "entry/library.h"
#include "platform/os.h"

namespace fsort {

namespace {

constinit EntryFrame* entry_frames = nullptr;

// The frame's export will never come to its own end.
void frame_abandon(const EntryFrame& frame) {
  frame.instance->error.trap_depth = frame.trap_depth;
  frame.instance->error.pending_messages = 0;
  EntryState& e = frame.instance->entry;
  e.destroying = 0;
  if (frame.kind != EntryKind::start) return;
  e.running = 0;
  e.pipe_ended = 1;
}

}  // namespace

bool instance_enter(fsort_handle handle, EntryFrame& frame, EntryKind kind) {
  if (handle == nullptr) return false;
  entry_lock_enter();
  Instance* own = instance_of(handle);
  frame.instance = own;
  frame.next = entry_frames;
  frame.thread = entry_lock_owner();
  frame.trap_depth = own->error.trap_depth;
  frame.kind = kind;
  entry_frames = &frame;
  Instance* previous = current_instance;
  current_instance = own;
  own->entry.prev_instance = previous;
  if (kind != EntryKind::plain) own->entry.entry_mark = &frame;
  return true;
}

void pipe_wake() {
  EntryState& e = entry_st();
  if (e.pipe_sleepers != 0) os->wake_all_condition_variable(&e.pipe_changed);
}

void instance_leave(EntryFrame& frame) {
  entry_frame_drop(frame);
  pipe_wake();  // a wait on the instance may have been for this call to end
  current_instance = frame.instance->entry.prev_instance;
  entry_lock_leave();
}

void entry_frame_drop(EntryFrame& frame) {
  for (EntryFrame** link = &entry_frames; *link != nullptr; link = &(*link)->next) {
    if (*link != &frame) continue;
    *link = frame.next;
    return;
  }
}

EntryFrame* entry_frame_top() {
  if (entry_lock_depth() == 0) return nullptr;
  const std::uint32_t self = entry_lock_owner();
  EntryFrame* f = entry_frames;
  while (f != nullptr && f->thread != self) f = f->next;
  return f;
}

bool entry_frame_shared(const EntryFrame& frame) {
  for (const EntryFrame* f = entry_frames; f != nullptr; f = f->next) {
    if (f != &frame && f->instance == frame.instance && f->kind != EntryKind::pipe) return true;
  }
  return false;
}

bool entry_frame_accompanied(const EntryFrame& frame) {
  for (const EntryFrame* f = entry_frames; f != nullptr; f = f->next) {
    if (f != &frame && f->instance == frame.instance) return true;
  }
  return false;
}

bool entry_frames_overlaid() {
  if (entry_lock_depth() == 0) return false;
  const std::uint32_t self = entry_lock_owner();
  for (const EntryFrame* f = entry_frames; f != nullptr; f = f->next) {
    if (f->thread == self || f->kind == EntryKind::pipe) continue;
    for (const EntryFrame* own = f->next; own != nullptr; own = own->next) {
      if (own->thread != self || own->kind == EntryKind::pipe) continue;
      if (own->instance == f->instance) return true;
    }
  }
  return false;
}

void entry_frames_cut() {
  const EntryFrame* top = entry_frame_top();
  if (top == nullptr) return;
  EntryFrame** link = &entry_frames;
  while (*link != nullptr) {
    EntryFrame* f = *link;
    if (f->thread != top->thread) {
      link = &f->next;
      continue;
    }
    if (f != top && f->instance == current_instance) return;
    if (f != top) frame_abandon(*f);
    *link = f->next;
  }
}

}  // namespace fsort
