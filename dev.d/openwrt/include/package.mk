# SPDX-License-Identifier: MIT
$(foreach name,PKG_NAME PKG_VERSION PKG_RELEASE PKG_SOURCE_URL PKG_LICENSE,$(if $($(name)),,$(error no $(name))))

all:
	@echo 'version $(PKG_VERSION)'
	@echo 'source $(PKG_SOURCE_PROTO) $(PKG_SOURCE_VERSION) $(PKG_SOURCE_URL)'
	@echo 'options $(CMAKE_OPTIONS)'

# Each package begins with empty fields, so that none is taken from the package above it.
define BuildPackage
  $(foreach field,SECTION CATEGORY SUBMENU TITLE DEPENDS,$(eval $(field) :=))
  $(eval $(Package/$(1)))
  $(foreach field,SECTION CATEGORY TITLE,$(if $($(field)),,$(error Package/$(1) has no $(field))))
  $(if $(Package/$(1)/description),,$(error Package/$(1) has no description))
  all: $(1)
  .PHONY: $(1)
  $(1):
	@echo 'package $(1) $(DEPENDS)'
	@echo 'settings $(1) $(strip $(Package/$(1)/conffiles))'
	$(call Package/$(1)/install,$(ROOT)/$(1))
endef
