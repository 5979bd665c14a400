#include "tests/support/WindowClosing.h"

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

struct Free {
  void operator()(void* reply) const { std::free(reply); }  // NOLINT(*-no-malloc): xcb's way
};
template <class Reply>
std::unique_ptr<Reply, Free> owned(Reply* reply) {
  return std::unique_ptr<Reply, Free>(reply);
}

xcb_atom_t atom(xcb_connection_t* screen, const char* name) {
  const auto asked =
      xcb_intern_atom(screen, 0, static_cast<std::uint16_t>(std::strlen(name)), name);
  const auto reply = owned(xcb_intern_atom_reply(screen, asked, nullptr));
  return reply ? reply->atom : XCB_NONE;
}

std::string titleOf(xcb_connection_t* screen, xcb_window_t window) {
  const auto asked =
      xcb_get_property(screen, 0, window, XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY, 0, 100);
  const auto reply = owned(xcb_get_property_reply(screen, asked, nullptr));
  if (!reply) return {};
  const auto size = static_cast<std::size_t>(xcb_get_property_value_length(reply.get()));
  return {static_cast<const char*>(xcb_get_property_value(reply.get())), size};
}

bool isShown(xcb_connection_t* screen, xcb_window_t window) {
  const auto asked = xcb_get_window_attributes(screen, window);
  const auto reply = owned(xcb_get_window_attributes_reply(screen, asked, nullptr));
  return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE;
}

void close(xcb_connection_t* screen, xcb_window_t window) {
  xcb_client_message_event_t message{};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 32;
  message.window = window;
  message.type = atom(screen, "WM_PROTOCOLS");
  message.data.data32[0] = atom(screen, "WM_DELETE_WINDOW");
  xcb_send_event(screen, 0, window, 0, reinterpret_cast<const char*>(&message));
}

// A server with much to do drops what it has not read when its client leaves.
void waitUntilDone(xcb_connection_t* screen) {
  owned(xcb_get_input_focus_reply(screen, xcb_get_input_focus(screen), nullptr));
}

}  // namespace

int closeWindows(const std::string& title) {
  const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> screen(
      xcb_connect(nullptr, nullptr), xcb_disconnect);
  const auto root = xcb_setup_roots_iterator(xcb_get_setup(screen.get())).data->root;
  const auto tree =
      owned(xcb_query_tree_reply(screen.get(), xcb_query_tree(screen.get(), root), nullptr));
  int closed = 0;
  for (int i = 0; tree && i < xcb_query_tree_children_length(tree.get()); ++i) {
    const xcb_window_t window = xcb_query_tree_children(tree.get())[i];
    if (!isShown(screen.get(), window) || titleOf(screen.get(), window) != title) continue;
    close(screen.get(), window);
    ++closed;
  }
  waitUntilDone(screen.get());
  return closed;
}
