// The page's files (web/), built into the program so that it serves its page from anywhere it is copied to.
#ifndef VORN_TOOLS_VIEW_WEB_ASSETS_H
#define VORN_TOOLS_VIEW_WEB_ASSETS_H

namespace vt {

struct WebAsset {
  const char *path;  // as requested: "/index.html"
  const char *type;  // Content-Type
  const char *body;  // text, ending at its NUL
};

// The asset served at `path` ("/" is "/index.html"), or nullptr.
const WebAsset *find_web_asset(const char *path);

}  // namespace vt

#endif
