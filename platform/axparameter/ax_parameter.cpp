// The host camera's axparameter library.
