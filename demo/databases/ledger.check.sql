-- Calls what a ledger can do, and shows what comes of it. Changes nothing.
BEGIN;
SELECT 'balance_of', balance_of('AA1'), balance_of('none');
SELECT 'fingerprint', fingerprint('🧾');
UPDATE accounts SET name = 'renamed' WHERE code IN ('AA1', 'BB1');
SELECT 'accounts_keep_name', name FROM accounts WHERE code IN ('AA1', 'BB1') ORDER BY code;
INSERT INTO archive.years VALUES (1999, 1), (2009, 2);
SELECT 'partitions', (SELECT count(*) FROM archive.years_before),
       (SELECT count(*) FROM archive.late);
ROLLBACK;
