# The package for cameras, built with the platform's SDK. From the root of the tree:
#
#   docker build --build-arg SDK=IMAGE:TAG -f package/sdk.Dockerfile --output type=local,dest=out .
#
# SDK names the image of the platform's native SDK for aarch64, which sets CC, CXX and pkg-config for the
# camera. Not tried on this project's own machines, which have no container engine.
ARG SDK
FROM ${SDK} AS build
RUN apt-get update && DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
    cmake ninja-build git xz-utils nodejs npm debian-archive-keyring && rm -rf /var/lib/apt/lists/*
WORKDIR /src
COPY . .
# OpenCV, libyuv and uriparser for the camera, as static libraries below /static, are made before with the same
# compiler; the SDK has none of them.
ARG STATIC=/static
RUN . /opt/axis/acapsdk/environment-setup* && \
    cmake --preset acap-sdk -DCMAKE_PREFIX_PATH=${STATIC} -DOpenCV_DIR=${STATIC}/lib/cmake/opencv4 && \
    cmake --build --preset acap-sdk --target eap

FROM scratch
COPY --from=build /src/build/acap-sdk/package/*.eap /
