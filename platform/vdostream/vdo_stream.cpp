// The host camera's vdostream library.
