-- The table that unload.toml reads: sqlite3 orders.db <orders.sql
CREATE TABLE orders(id INTEGER PRIMARY KEY, customer TEXT NOT NULL, amount REAL, note TEXT);
WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1000)
INSERT INTO orders
SELECT i, 'customer ' || (i * 7919 % 101), i * 1237 % 100000 / 4.0,
       CASE i % 4 WHEN 0 THEN NULL WHEN 1 THEN '' WHEN 2 THEN 'said "no", twice' ELSE 'two, or three' END
FROM n;
