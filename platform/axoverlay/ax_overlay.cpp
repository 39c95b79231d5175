// The host camera's axoverlay library.
