// annal-web: answers one request, and ends.
#pragma once

namespace annal_web {

int answer_request();

}  // namespace annal_web
