-- The templates of galleries in PostgreSQL 15 or later. Run it once, as the role that is to own the tables.
--
-- Each tenant is a role that logs in: CREATE ROLE acme LOGIN PASSWORD '...' IN ROLE zomu_tenant. It sees its own
-- rows and no others.
CREATE ROLE zomu_tenant NOLOGIN;
CREATE SCHEMA zomu;
GRANT USAGE ON SCHEMA zomu TO zomu_tenant;

CREATE TABLE zomu.template (
    id bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
    tenant text NOT NULL DEFAULT current_user,
    person text NOT NULL,
    photograph bytea NOT NULL CHECK (octet_length(photograph) = 32), -- SHA-256 of the file
    face smallint NOT NULL CHECK (face >= 1),
    fingerprint bytea NOT NULL CHECK (octet_length(fingerprint) = 32), -- of the model
    consent text NOT NULL,
    expires timestamptz,
    template bytea NOT NULL CHECK (octet_length(template) = 2008),
    UNIQUE (tenant, fingerprint, photograph, face)
);
-- Such bytes do not shrink. Out of line each would be in two pieces, which take more room.
ALTER TABLE zomu.template ALTER COLUMN template SET STORAGE PLAIN;
CREATE INDEX template_person ON zomu.template (tenant, person);
CREATE INDEX template_expires ON zomu.template (expires) WHERE expires IS NOT NULL;

-- What an index has to follow. It reads from the oldest transaction on that was under way when it last read, so that
-- it misses none: numbers of a sequence become visible out of order.
CREATE TABLE zomu.change (
    transaction xid8 NOT NULL DEFAULT pg_current_xact_id(),
    tenant text NOT NULL,
    fingerprint bytea NOT NULL,
    id bigint NOT NULL,
    is_deletion boolean NOT NULL
);
CREATE INDEX change_transaction ON zomu.change (tenant, transaction);

CREATE FUNCTION zomu.note_added() RETURNS trigger LANGUAGE plpgsql SECURITY DEFINER SET search_path = pg_catalog, pg_temp
AS $$
BEGIN
    INSERT INTO zomu.change (tenant, fingerprint, id, is_deletion)
    SELECT tenant, fingerprint, id, false FROM changed;
    RETURN NULL;
END $$;
CREATE FUNCTION zomu.note_deleted() RETURNS trigger LANGUAGE plpgsql SECURITY DEFINER SET search_path = pg_catalog, pg_temp
AS $$
BEGIN
    INSERT INTO zomu.change (tenant, fingerprint, id, is_deletion)
    SELECT tenant, fingerprint, id, true FROM changed;
    RETURN NULL;
END $$;
CREATE TRIGGER template_added AFTER INSERT ON zomu.template
    REFERENCING NEW TABLE AS changed FOR EACH STATEMENT EXECUTE FUNCTION zomu.note_added();
CREATE TRIGGER template_deleted AFTER DELETE ON zomu.template
    REFERENCING OLD TABLE AS changed FOR EACH STATEMENT EXECUTE FUNCTION zomu.note_deleted();

ALTER TABLE zomu.template ENABLE ROW LEVEL SECURITY;
ALTER TABLE zomu.change ENABLE ROW LEVEL SECURITY;
CREATE POLICY own ON zomu.template TO zomu_tenant USING (tenant = current_user) WITH CHECK (tenant = current_user);
CREATE POLICY own ON zomu.change TO zomu_tenant USING (tenant = current_user);
-- A template is not changed, only added and deleted.
GRANT SELECT, INSERT, DELETE, UPDATE (consent, expires) ON zomu.template TO zomu_tenant;
GRANT SELECT ON zomu.change TO zomu_tenant;
