# SPDX-License-Identifier: MIT
# Stands in for OpenWrt's build: with include/, what the feed's Makefile uses of it. `make all` installs each package
# into $(ROOT)/NAME and prints what its definition says.
INCLUDE_DIR := $(TOPDIR)/include
INSTALL_DIR := install -d -m0755
INSTALL_BIN := install -m0755
INSTALL_CONF := install -m0600
INSTALL_DATA := install -m0644
CP := cp -fpR
