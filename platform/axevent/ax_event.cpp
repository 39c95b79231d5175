// The host camera's axevent library.
